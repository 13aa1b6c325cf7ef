#pragma once

#include "FileItemListener.h"
#include "FolderSearch.h"
#include "VDKQueueDelegate.h"
#include "platform/FileAttributes.h"
#include "platform/RestartableTimer.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

class DirectoryWatcherDelegate;
class FileItem;

// Watches one directory and tells its delegate about every application bundle that
// arrives in it, at its top level or inside folders moved into it, and about every
// file (not a link) that arrives at its top level.
//
// It keeps a tree of the directory one level deep and reads the directory again once
// it has been quiet for Delays::kTrashDebounce, or after Delays::kTrashDebounceCeiling
// of changes that never pause. A new application is reported at once; a new folder is
// searched for applications at any depth Delays::kFolderSearch later, off the main
// thread, together with every other folder of the same refresh (its sub-folders are
// searched as part of it). An application lying directly in a moved folder is
// therefore reported twice. Entries present when the watcher starts are never
// reported, and neither are removals.
//
// The directory is followed when it leaves its place: deleted, renamed away, or taken
// away with a folder above it (those folders are watched too). Once a directory is at
// the path again, it is watched and read as after any change: what arrived in the
// meantime is reported, what it held before is not when it is the same directory
// come back. A directory given as a symbolic link is watched where the link leads.
// A directory the kernel refuses to watch (its inotify limits are spent) is tried
// again every Delays::kWatchRetry, with a warning.
//
// Threads: main thread only. Ownership: owns its tree, its kernel-event queue and
// its folder search; the delegate is not owned and must outlive the watcher
// (typically it owns it). Destroying the watcher cancels its pending refresh and
// folder searches.
class DirectoryWatcher : public QObject, public VDKQueueDelegate, public FileItemListener
{
    Q_OBJECT
public:
    explicit DirectoryWatcher(const QString &path); // initWithPath
    ~DirectoryWatcher() override;

    // Watches the directory and the folders above it anew; false while the directory
    // is not there or cannot be watched.
    bool startWatching();
    // Whether the directory at the path is watched now.
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
    // Starts a search of the folder for applications; they are reported level by
    // level, shallower first, without entering applications.
    void checkFolderForAppsWithPath(const QString &path);
    // Reads the directory again and inspects what arrived.
    void updateDirContent();

    void VDKQueue(::VDKQueue *queue, const QString &notificationName, const QString &path) override;
    void onAddedFileItem(FileItem *item, FileItem *parent) override;
    void onRemovedFileItem(FileItem *item, FileItem *parent) override;
    FileItem *getFileItemParent() override { return nullptr; }

private:
    using Identity = FileAttributes::Identity;

    void checkPlace();
    void settleInPlace(const Identity &identity);
    bool watchFoldersAbove();
    QStringList foldersAbove() const;
    bool refused();
    void forgetContents();

    const QString m_sPath;
    // The directory the tree describes; none once it has been deleted.
    std::optional<Identity> m_identity;
    std::unique_ptr<FileItem> m_pPathTree;
    std::unique_ptr<::VDKQueue> m_pVDKQueue;
    DirectoryWatcherDelegate *m_pDelegate = nullptr;
    bool m_bIsWatching = false;
    bool m_bRefused = false;
    RestartableTimer m_refreshTimer;
    RestartableTimer m_retryTimer;
    QStringList m_arrivedFolders; // to be searched after the refresh that found them
    FolderSearch m_search;
};
