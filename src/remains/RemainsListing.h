#pragma once

#include "AppImageRemainsInfoListener.h"
#include "SimpleRemainsInfoListener.h"

#include <QEventLoop>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QTextStream>

#include <functional>

class PathForRemove;

// The job behind `tarnwick-helper --list-remains PATH`: what would be offered for removal
// with the application (a bundle or an AppImage) at the path, sizes included, as one
// JSON object {"items": [...], "totalSize": "N"} whose items have the watcher-message
// item form, the application first, then the remains in the order they were found.
//
// Main thread; needs a QCoreApplication, whose event loop it runs until every size is in.
class RemainsListing : public SimpleRemainsInfoListener, public AppImageRemainsInfoListener
{
public:
    // Prints the object on out and answers 0; for a path that is neither an application
    // bundle with an identifier nor a readable AppImage, prints one line on err and
    // answers 1.
    static int run(const QString &applicationPath, QTextStream &out, QTextStream &err);

    void onSimpleRemainsInfoChanged(SimpleRemainsInfo *info) override;
    void onAppImageRemainsInfoChanged(AppImageRemainsInfo *info) override;

    // The records so far and the total; the listing waits until each has its size.
    using Snapshot = std::function<QList<PathForRemove>(quint64 *total)>;

private:
    static int listBundle(const QString &path, QTextStream &out);
    static int listAppImage(const QString &path, QTextStream &out);
    static int print(RemainsListing &listing, const Snapshot &snapshot, QTextStream &out);
    void onChanged();

    QEventLoop m_loop;
    Snapshot m_snapshot;
};
