#include "VDKQueue.h"

#include "VDKQueuePathEntry.h"
#include "WatchingLog.h"
#include "platform/Delays.h"
#include "platform/KernelEventQueue.h"
#include "platform/MainThread.h"
#include "platform/NotificationCenter.h"
#include "platform/ThreadLauncher.h"

#include <QVariantMap>

#include <array>
#include <utility>
#include <vector>

namespace {

struct EventName
{
    quint32 event;
    const QString &name;
};

// The order in which the bits of one event are expanded, and so the order of the
// delegate calls for it.
const std::array kEventNames{
    EventName{KernelEventQueue::NoteRename, VDKQueueFileRenamedNotification},
    EventName{KernelEventQueue::NoteWrite, VDKQueueFileWrittenToNotification},
    EventName{KernelEventQueue::NoteDelete, VDKQueueFileDeletedNotification},
    EventName{KernelEventQueue::NoteAttrib, VDKQueueFileAttributesChangedNotification},
    EventName{KernelEventQueue::NoteExtend, VDKQueueFileSizeIncreasedNotification},
    EventName{KernelEventQueue::NoteLink, VDKQueueLinkCountChangedNotification},
    EventName{KernelEventQueue::NoteRevoke, VDKQueueAccessWasRevokedNotification},
};

const char *const kThreadName = "VDKQueue";

} // namespace

std::unique_ptr<VDKQueue> VDKQueue::init()
{
    auto coreQueue = KernelEventQueue::create();
    if (!coreQueue)
        return nullptr;
    return std::unique_ptr<VDKQueue>(new VDKQueue(std::move(coreQueue)));
}

VDKQueue::VDKQueue(std::unique_ptr<KernelEventQueue> queue)
    : coreQueue(std::move(queue))
{
}

VDKQueue::~VDKQueue()
{
    keepWatcherThreadRunning = false;
    coreQueue->wake();
    if (m_watcherThread.joinable())
        m_watcherThread.join();
    removeAllPaths();
}

void VDKQueue::addPath(const QString &path)
{
    addPath(path, KernelEventQueue::AllVnodeEvents);
}

void VDKQueue::addPath(const QString &path, quint32 mask)
{
    if (path.isNull())
        return;
    std::lock_guard guard(m_lock);
    if (watchedPathEntries.count(path) == 0)
        addPathToQueue(path, mask);
}

// Merges the mask into an existing entry, or watches a new path; the first watch
// starts the watcher thread.
VDKQueuePathEntry *VDKQueue::addPathToQueue(const QString &path, quint32 mask)
{
    std::lock_guard guard(m_lock);
    VDKQueuePathEntry *entry = nullptr;
    if (const auto found = watchedPathEntries.find(path); found != watchedPathEntries.end()) {
        entry = found->second.get();
        if ((entry->subscriptionFlags() & mask) == mask)
            return entry;
        entry->setSubscriptionFlags(entry->subscriptionFlags() | mask);
    } else {
        auto created = VDKQueuePathEntry::initWithPath(*coreQueue, path, mask);
        if (!created) {
            qCDebug(lcWatching).noquote() << "cannot watch" << path;
            return nullptr;
        }
        entry = created.get();
        watchedPathEntries.emplace(path, std::move(created));
    }
    startWatcherThread();
    return entry;
}

// Under the lock. A thread the system refuses is tried again a slice later: the kernel
// keeps the changes meanwhile, and the thread reads them once it runs.
void VDKQueue::startWatcherThread()
{
    if (keepWatcherThreadRunning.exchange(true))
        return;
    m_watcherThread = ThreadLauncher::start(QString::fromLatin1(kThreadName), [this] { watcherThread(); });
    if (m_watcherThread.joinable())
        return;
    keepWatcherThreadRunning = false;
    MainThread::after(Delays::scaled(Delays::kThreadRetry), nullptr, [this, alive = std::weak_ptr<const bool>(m_alive)] {
        if (alive.expired())
            return;
        std::lock_guard guard(m_lock);
        if (!watchedPathEntries.empty())
            startWatcherThread();
    });
}

void VDKQueue::removePath(const QString &path)
{
    if (path.isNull())
        return;
    std::lock_guard guard(m_lock);
    watchedPathEntries.erase(path);
}

void VDKQueue::removeAllPaths()
{
    std::lock_guard guard(m_lock);
    watchedPathEntries.clear();
}

int VDKQueue::numberOfWatchedPaths() const
{
    std::lock_guard guard(m_lock);
    return int(watchedPathEntries.size());
}

bool VDKQueue::isPathWatched(const QString &path) const
{
    std::lock_guard guard(m_lock);
    return watchedPathEntries.count(path) != 0;
}

QStringList VDKQueue::notificationNamesForEvents(quint32 events)
{
    QStringList names;
    for (const EventName &entry : kEventNames) {
        if (events & entry.event)
            names.append(entry.name);
    }
    return names;
}

// Waits for events until the queue is destroyed, whose destructor wakes the wait so
// that the thread ends at once; an idle watcher never wakes on its own.
void VDKQueue::watcherThread()
{
    while (keepWatcherThreadRunning) {
        const KernelEventQueue::Batch batch = coreQueue->wait(KernelEventQueue::kForever);
        if (!keepWatcherThreadRunning)
            break;
        for (const KernelEventQueue::Change &change : batch.changes)
            dispatch(change.watch, change.events);
    }
}

// Every path on the watch hears of the change (a symbolic link and its target share
// one), each through its own subscription.
void VDKQueue::dispatch(int watch, quint32 events)
{
    std::vector<std::pair<QString, quint32>> changes;
    {
        std::lock_guard guard(m_lock);
        for (const auto &[path, entry] : watchedPathEntries) {
            if (entry->watchedFD() == watch && (entry->subscriptionFlags() & events))
                changes.emplace_back(path, entry->subscriptionFlags() & events);
        }
    }
    for (const auto &[path, subscribed] : changes)
        deliverOnMainThread(path, subscribed);
}

void VDKQueue::deliverOnMainThread(const QString &path, quint32 events)
{
    MainThread::async([this, alive = std::weak_ptr<const bool>(m_alive), path,
                       names = notificationNamesForEvents(events)] {
        for (const QString &name : names) {
            if (alive.expired())
                return;
            deliver(name, path, alive);
        }
    });
}

// Main thread. The delegate may destroy the queue during its call; nothing of the
// queue is touched after that.
void VDKQueue::deliver(const QString &notificationName, const QString &path, const std::weak_ptr<const bool> &alive)
{
    if (VDKQueueDelegate *delegate = m_delegate)
        delegate->VDKQueue(this, notificationName, path);
    if (alive.expired())
        return;
    if (!m_delegate || m_alwaysPostNotifications)
        NotificationCenter::workspaceCenter().post(notificationName, this, {{QStringLiteral("path"), path}});
}
