#pragma once

#include <QString>
#include <QtGlobal>

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <vector>

struct inotify_event;

// A kernel event queue for file-system paths, answering in the vnode event bits of a
// kqueue EVFILT_VNODE watch; implemented with one inotify instance.
//
// Threads: addWatch/removeWatch from any thread; wait() from one thread at a time
// (the watcher thread); wake() from any thread, to end a wait() at once. Ownership:
// the queue owns its inotify descriptor and its wake eventfd and closes both when
// destroyed. Watching a path holds no descriptor on it, so it never keeps a volume
// from being unmounted.
class KernelEventQueue
{
public:
    // The vnode event bits, with kqueue's values.
    enum VnodeEvent : quint32 {
        NoteDelete = 0x01,
        NoteWrite = 0x02,
        NoteExtend = 0x04,
        NoteAttrib = 0x08,
        NoteLink = 0x10,
        NoteRename = 0x20,
        NoteRevoke = 0x40,
        AllVnodeEvents = 0x7F,
    };

    // What changed on one watch during one read of the queue.
    struct Change
    {
        int watch = -1;
        quint32 events = 0;
    };
    struct Batch
    {
        std::vector<Change> changes; // in order of first appearance, one per watch
        // The kernel dropped events: anything may have changed, so every watch holds
        // a write besides what was read.
        bool overflowed = false;
    };
    // The little the mapping needs to know of a watched item itself.
    struct ItemState
    {
        std::optional<qint64> size;
        std::optional<quint64> linkCount; // none for directories (see FileAttributes)
    };

    // A new queue; null (with a logged warning) when the kernel refuses one.
    static std::unique_ptr<KernelEventQueue> create();
    ~KernelEventQueue();
    KernelEventQueue(const KernelEventQueue &) = delete;
    KernelEventQueue &operator=(const KernelEventQueue &) = delete;

    // Starts watching the path (following a final symbolic link) and returns the watch,
    // or -1 when the path cannot be watched. Two paths of one item share one watch;
    // it is counted, so each successful add needs its own removeWatch.
    int addWatch(const QString &path);
    void removeWatch(int watch);

    // A wait() that only events or wake() end.
    static constexpr std::chrono::milliseconds kForever{-1};

    // Blocks until events arrive, wake() is called or the slice has passed, and
    // returns the events of one read, OR-ed per watch (as EV_CLEAR coalesces them).
    // A wake() that comes before the wait still ends it (the eventfd keeps count).
    Batch wait(std::chrono::milliseconds slice);
    void wake();
    // The inotify descriptor, for a socket notifier of a queue read on its owner's
    // thread (wait() with no time then takes what is there) instead of a watcher thread.
    int descriptor() const { return m_inotifyDescriptor; }

    // The vnode bits of one inotify event. `before` and `after` describe the watched
    // item itself around the event; they matter only for its own IN_MODIFY (did it
    // grow?) and IN_ATTRIB (did its link count change?).
    static quint32 vnodeEventsFor(const inotify_event &event, const ItemState &before, const ItemState &after);

private:
    struct Watch
    {
        int references = 0;
        bool alive = true; // false once the kernel has dropped it (IN_IGNORED)
        QString path;      // the first path added, read again for IN_MODIFY and IN_ATTRIB
        bool identified = false;
        quint64 device = 0;
        quint64 inode = 0;
        ItemState state;
    };

    KernelEventQueue(int inotifyDescriptor, int wakeDescriptor);
    Batch readPass();
    quint32 eventsOf(const inotify_event &event);
    static void merge(Batch &batch, int watch, quint32 events);
    static void snapshot(Watch &watch);

    const int m_inotifyDescriptor;
    const int m_wakeDescriptor;
    std::mutex m_lock; // guards m_watches
    std::unordered_map<int, Watch> m_watches;
};
