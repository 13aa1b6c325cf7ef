#pragma once

#include "FileItemListener.h"
#include "VDKQueueDelegate.h"
#include "platform/RestartableTimer.h"

#include <QObject>
#include <QString>

#include <memory>

class DirectoryWatcherDelegate;
class FileItem;

// Watches one directory and tells its delegate about every application bundle that
// arrives in it, at its top level or inside folders moved into it.
//
// It keeps a tree of the directory one level deep and reads the directory again once
// it has been quiet for Delays::kTrashDebounce. A new application is reported at
// once; a new folder is searched for applications at any depth
// Delays::kFolderSearch later. An application lying directly in a moved folder is
// therefore reported twice. Entries present when the watcher starts are never
// reported, and neither are removals.
//
// When the directory leaves its place (deleted, or renamed away), the watcher follows
// the nearest folder above it that still exists until the directory is back, then
// watches it again and reads it as after any change: what arrived in the meantime is
// reported, what it held before is not (a deleted directory held nothing any more).
// A directory missing when the watcher starts is not waited for.
//
// Threads: main thread only. Ownership: owns its tree and its kernel-event queue;
// the delegate is not owned and must outlive the watcher (typically it owns it).
// Destroying the watcher cancels its pending refresh and folder searches.
class DirectoryWatcher : public QObject, public VDKQueueDelegate, public FileItemListener
{
    Q_OBJECT
public:
    explicit DirectoryWatcher(const QString &path); // initWithPath
    ~DirectoryWatcher() override;

    // Watches the directory; true even when it does not exist (nothing is then reported).
    bool startWatching();
    bool isWatching() const { return m_bIsWatching; }
    QString getPath() const { return m_sPath; }
    void setDelegate(DirectoryWatcherDelegate *delegate) { m_pDelegate = delegate; }

    // The node for a path at or below the watched directory, or null.
    FileItem *getFileItemWithPath(const QString &path) const;
    // Tells the delegate and answers true when the node is a directory that is an
    // application of its own (not inside another application, preference pane or
    // kernel extension).
    bool notifyIsFileItemIsApp(FileItem *item);
    void notifyDelegateThatAddedAppWithPath(const QString &path);
    // Reports the applications inside a folder, level by level, shallower first,
    // without entering applications.
    void checkFolderForAppsWithPath(const QString &path);
    // Reads the directory again and inspects what arrived.
    void updateDirContent();

    void VDKQueue(::VDKQueue *queue, const QString &notificationName, const QString &path) override;
    void onAddedFileItem(FileItem *item, FileItem *parent) override;
    void onRemovedFileItem(FileItem *item, FileItem *parent) override;
    FileItem *getFileItemParent() override { return nullptr; }

    // The folder watched while the directory is away; null while it is in place.
    QString getFollowedAncestor() const { return m_sFollowedAncestor; }

private:
    void onDirectoryGone(bool deleted);
    void followReappearance(bool rewatch);
    void resumeWatching();
    void forgetContents();

    const QString m_sPath;
    std::unique_ptr<FileItem> m_pPathTree;
    std::unique_ptr<::VDKQueue> m_pVDKQueue;
    DirectoryWatcherDelegate *m_pDelegate = nullptr;
    bool m_bIsWatching = false;
    QString m_sFollowedAncestor;
    RestartableTimer m_refreshTimer;
};
