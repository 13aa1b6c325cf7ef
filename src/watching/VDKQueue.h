#pragma once

#include "VDKQueueDelegate.h"

#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>

class KernelEventQueue;
class VDKQueuePathEntry;

// The notification names of the seven vnode events, in the order in which the bits
// of one event are expanded.
inline const QString VDKQueueFileRenamedNotification = QStringLiteral("VDKQueueFileRenamedNotification");
inline const QString VDKQueueFileWrittenToNotification = QStringLiteral("VDKQueueFileWrittenToNotification");
inline const QString VDKQueueFileDeletedNotification = QStringLiteral("VDKQueueFileDeletedNotification");
inline const QString VDKQueueFileAttributesChangedNotification =
    QStringLiteral("VDKQueueFileAttributesChangedNotification");
inline const QString VDKQueueFileSizeIncreasedNotification = QStringLiteral("VDKQueueFileSizeIncreasedNotification");
inline const QString VDKQueueLinkCountChangedNotification = QStringLiteral("VDKQueueLinkCountChangedNotification");
inline const QString VDKQueueAccessWasRevokedNotification = QStringLiteral("VDKQueueAccessWasRevokedNotification");

// Watches file-system paths (files or directories) through one kernel event queue and
// reports each change on the main thread: to its delegate, and as a notification on
// the workspace notification centre (with userInfo {"path": path}) when there is no
// delegate or alwaysPostNotifications is set.
//
// Threads: add, remove and count from any thread; one watcher thread of its own,
// started by the first successful add, waits for events (or the destructor's wake)
// without a time limit; delegate calls and notifications happen on the main thread
// only. Destroy the queue on the main thread: the destructor wakes and joins the
// watcher thread, and changes already on their way are dropped.
// Ownership: owns its kernel queue, its thread and its path entries; the delegate is
// not owned and must outlive the queue (typically it owns the queue).
class VDKQueue
{
public:
    // A new queue with no paths and no thread; null when the kernel refuses a queue.
    static std::unique_ptr<VDKQueue> init();
    ~VDKQueue();
    VDKQueue(const VDKQueue &) = delete;
    VDKQueue &operator=(const VDKQueue &) = delete;

    // Watches the path for all seven events. A path already watched is left as it is.
    void addPath(const QString &path);
    // Watches the path for the given vnode events (notifyingAbout). A path already
    // watched keeps the events it was first added with.
    void addPath(const QString &path, quint32 mask);
    void removePath(const QString &path);
    void removeAllPaths();
    int numberOfWatchedPaths() const;
    // Whether the path was added and the kernel accepted it.
    bool isPathWatched(const QString &path) const;

    VDKQueueDelegate *delegate() const { return m_delegate; }
    void setDelegate(VDKQueueDelegate *delegate) { m_delegate = delegate; }
    bool alwaysPostNotifications() const { return m_alwaysPostNotifications; }
    void setAlwaysPostNotifications(bool always) { m_alwaysPostNotifications = always; }

    // The notification names of a set of vnode event bits, in the fixed order.
    static QStringList notificationNamesForEvents(quint32 events);

private:
    explicit VDKQueue(std::unique_ptr<KernelEventQueue> coreQueue);
    VDKQueuePathEntry *addPathToQueue(const QString &path, quint32 mask);
    void startWatcherThread();
    void watcherThread();
    void dispatch(int watch, quint32 events);
    void deliverOnMainThread(const QString &path, quint32 events);
    void deliver(const QString &notificationName, const QString &path, const std::weak_ptr<const bool> &alive);

    const std::unique_ptr<KernelEventQueue> coreQueue;
    mutable std::recursive_mutex m_lock; // guards watchedPathEntries
    std::unordered_map<QString, std::unique_ptr<VDKQueuePathEntry>> watchedPathEntries;
    std::atomic_bool keepWatcherThreadRunning{false};
    std::thread m_watcherThread;
    VDKQueueDelegate *m_delegate = nullptr;
    bool m_alwaysPostNotifications = false;
    // Changes on their way to the main thread hold this weakly; it dies with the queue.
    const std::shared_ptr<const bool> m_alive = std::make_shared<const bool>(true);
};
