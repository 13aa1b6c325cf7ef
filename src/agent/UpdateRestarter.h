#pragma once

#include "watching/VDKQueueDelegate.h"

#include <QString>
#include <QStringList>

#include <memory>
#include <sys/types.h>

class VDKQueue;

// Quits the helper as soon as its own bundle is no longer at its path: moved away,
// deleted, or replaced by another copy, whichever folder above it moved (as when the
// main application, which holds the helper, is updated or removed). It does not start
// a new copy.
//
// inotify tells a watched folder when it is itself moved or deleted, but not when a
// folder above it is, so besides the bundle every enclosing folder is watched for its
// own departure, up to the home (included) or the root. On any event the bundle's
// path is checked: it must still hold the very folder the helper started from (same
// device and inode), so that a new copy put in place of the old one is no longer "its
// bundle".
//
// A singleton created on first use on the main thread and never destroyed; it watches
// with its own kernel-event queue.
class UpdateRestarter : public VDKQueueDelegate
{
public:
    static UpdateRestarter &GetInstance();

    void VDKQueue(::VDKQueue *queue, const QString &notificationName, const QString &path) override;
    QString bundlePath() const { return m_sBundlePath; }
    // Whether the path still holds the bundle the helper started from.
    bool isBundleInPlace() const;
    // The folders watched for their own departure: the bundle's parent, its parent,
    // and so on up to the home (included) or up to the root (excluded).
    static QStringList enclosingFolders(const QString &bundlePath, const QString &home);

private:
    UpdateRestarter();

    QString m_sBundlePath;
    dev_t m_device = 0;
    ino_t m_inode = 0;
    std::unique_ptr<::VDKQueue> m_pVDKQueue;
};
