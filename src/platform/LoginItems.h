#pragma once

#include <QString>

// The helper as a login item: an XDG autostart entry
// <home>/.config/autostart/<bundle identifier>.desktop, written or removed.
class LoginItems
{
public:
    static QString entryPath(const QString &home, const QString &bundleIdentifier);
    static bool setEnabled(const QString &home, const QString &bundleIdentifier, const QString &executable, bool enabled);
    // Quotes a path for the Exec key of a desktop entry.
    static QString quotedExecArgument(const QString &argument);
};
