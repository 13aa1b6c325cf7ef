#pragma once

#include "SimpleRemainsInfoListener.h"

#include <QEventLoop>
#include <QJsonObject>
#include <QString>
#include <QTextStream>

// The job behind `tarnwick-helper --list-remains PATH`: what would be offered for removal
// with the application at the path, sizes included, as one JSON object
// {"items": [...], "totalSize": "N"} whose items have the watcher-message item form,
// bundle first, then the remains in the order they were found.
//
// Main thread; needs a QCoreApplication, whose event loop it runs until every size is in.
class RemainsListing : public SimpleRemainsInfoListener
{
public:
    // Prints the object on out and answers 0; for a path that is not an application
    // bundle with an identifier, prints one line on err and answers 1.
    static int run(const QString &applicationPath, QTextStream &out, QTextStream &err);

    void onSimpleRemainsInfoChanged(SimpleRemainsInfo *info) override;

private:
    static bool isEverySizeIn(const SimpleRemainsInfo &info);
    static QJsonObject listingOf(const SimpleRemainsInfo &info);

    QEventLoop m_loop;
};
