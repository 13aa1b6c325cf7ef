#pragma once

#include "Removal.h"
#include "core/PathForRemove.h"

#include <QList>
#include <QString>

// The words the main application reports a clean-up and its undoing with, on its
// output and in its desktop notification:
//
//     Foo: 3.5 MB of service files moved to the Trash
//     Foo: 3.5 MB of service files put back
//
// and, for what stayed where it was, one line per item ("~/Library/x: the reason").
// Sizes are the helper's figures for the items moved.
class RemovalReport
{
public:
    // The applications of a message by their bundles' names: "Foo", "Foo and Bar",
    // "Foo, Bar and Baz"; the bundle identifier when the message lists no application.
    static QString applicationNames(const QList<PathForRemove> &items);

    static QString movedLine(const Removal &removal);
    static QString putBackLine(const Removal &removal);
    // One line per item left, paths in the home written with "~".
    static QStringList leftLines(const Removal &removal, const QString &home);
    // The notification's body: at most a few of those lines, then how many more.
    static QString leftSummary(const Removal &removal, const QString &home);
};
