#include "KernelEventQueue.h"

#include "FileAttributes.h"
#include "PathCodec.h"
#include "ScopedDescriptor.h"

#include <QLoggingCategory>

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

namespace {

Q_LOGGING_CATEGORY(lcKernelEvents, "tarnwick.watching.kernel", QtWarningMsg)

// What every watch asks the kernel for. IN_IGNORED, IN_UNMOUNT and IN_Q_OVERFLOW
// come without asking.
constexpr quint32 kItemMask = IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF;
constexpr quint32 kDirectoryEntryMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
// Directories do without IN_MODIFY: it would only report writes to the files inside,
// which a directory's vnode does not see (see vnodeEventsFor), and a large file being
// copied into a watched folder would wake the watcher for every block.
constexpr quint32 kDirectoryMask = kItemMask | kDirectoryEntryMask;
constexpr quint32 kFileMask = kItemMask | IN_MODIFY;

// Room for hundreds of events per read, so that a burst is coalesced into one mask
// per watch instead of being handed over piecemeal.
constexpr std::size_t kReadBufferSize = 64 * 1024;

struct Translation
{
    quint32 inotifyBit;
    quint32 vnodeBits;
};

// The events that translate alone, whatever the context.
constexpr std::array kTranslations{
    Translation{IN_MOVE_SELF, KernelEventQueue::NoteRename},
    Translation{IN_DELETE_SELF, KernelEventQueue::NoteDelete},
    Translation{IN_UNMOUNT, KernelEventQueue::NoteRevoke},
    Translation{IN_CREATE, KernelEventQueue::NoteWrite | KernelEventQueue::NoteExtend},
    Translation{IN_MOVED_TO, KernelEventQueue::NoteWrite | KernelEventQueue::NoteExtend},
    Translation{IN_DELETE, KernelEventQueue::NoteWrite},
    Translation{IN_MOVED_FROM, KernelEventQueue::NoteWrite},
};

void warnAboutFailure(const char *what, int error, const char *limit)
{
    qCWarning(lcKernelEvents, "%s failed: %s; raise the kernel limit %s", what, strerror(error), limit);
}

// A spent kernel budget is told once, with the setting that raises it, rather than
// at every attempt; once an attempt succeeds again, the next shortage is told anew.
class Shortage
{
public:
    constexpr Shortage(const char *what, const char *limit) : m_what(what), m_limit(limit) {}
    void failed(int error)
    {
        if (!m_current.exchange(true))
            warnAboutFailure(m_what, error, m_limit);
    }
    void ended() { m_current = false; }

private:
    const char *m_what;
    const char *m_limit;
    std::atomic_bool m_current{false};
};

Shortage g_instances{"Creating a kernel event queue", "fs.inotify.max_user_instances"};
Shortage g_watches{"Watching a path", "fs.inotify.max_user_watches"};

} // namespace

std::unique_ptr<KernelEventQueue> KernelEventQueue::create()
{
    ScopedDescriptor inotify(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (inotify.get() < 0) {
        g_instances.failed(errno);
        return nullptr;
    }
    g_instances.ended();
    ScopedDescriptor wake(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
    if (wake.get() < 0) {
        qCWarning(lcKernelEvents, "Creating a wake-up descriptor failed: %s", strerror(errno));
        return nullptr;
    }
    return std::unique_ptr<KernelEventQueue>(new KernelEventQueue(inotify.release(), wake.release()));
}

KernelEventQueue::KernelEventQueue(int inotifyDescriptor, int wakeDescriptor)
    : m_inotifyDescriptor(inotifyDescriptor)
    , m_wakeDescriptor(wakeDescriptor)
{
}

KernelEventQueue::~KernelEventQueue()
{
    // Closing the inotify descriptor drops every watch it still holds.
    ::close(m_inotifyDescriptor);
    ::close(m_wakeDescriptor);
}

int KernelEventQueue::addWatch(const QString &path)
{
    if (path.isEmpty())
        return -1;
    const quint32 mask = FileAttributes::isDirectory(path) ? kDirectoryMask : kFileMask;
    const int watch = ::inotify_add_watch(m_inotifyDescriptor, PathCodec::encode(path).constData(), mask);
    if (watch < 0) {
        if (errno == ENOSPC)
            g_watches.failed(errno);
        return -1;
    }
    g_watches.ended();
    std::lock_guard guard(m_lock);
    Watch &record = m_watches[watch];
    if (record.references == 0 || !record.alive) {
        // A new watch, or a number the kernel handed out again after dropping the old
        // watch: whatever was known belongs to another item.
        const int references = record.references;
        record = Watch{};
        record.references = references;
        record.path = path;
        snapshot(record);
    }
    ++record.references;
    return watch;
}

void KernelEventQueue::removeWatch(int watch)
{
    std::lock_guard guard(m_lock);
    const auto found = m_watches.find(watch);
    if (found == m_watches.end() || --found->second.references > 0)
        return;
    // inotify_rm_watch drops the watch for every path of the item, which is why it
    // waits for the last reference.
    if (found->second.alive)
        ::inotify_rm_watch(m_inotifyDescriptor, watch);
    m_watches.erase(found);
}

KernelEventQueue::Batch KernelEventQueue::wait(std::chrono::milliseconds slice)
{
    std::array<pollfd, 2> descriptors{pollfd{m_inotifyDescriptor, POLLIN, 0}, pollfd{m_wakeDescriptor, POLLIN, 0}};
    const auto timeout = static_cast<int>(std::min<std::chrono::milliseconds::rep>(slice.count(), INT_MAX));
    if (::poll(descriptors.data(), descriptors.size(), timeout) <= 0)
        return {};
    if (descriptors[1].revents & POLLIN) {
        eventfd_t count = 0;
        ::eventfd_read(m_wakeDescriptor, &count);
        return {};
    }
    if (descriptors[0].revents & POLLIN)
        return readPass();
    return {};
}

void KernelEventQueue::wake()
{
    ::eventfd_write(m_wakeDescriptor, 1);
}

KernelEventQueue::Batch KernelEventQueue::readPass()
{
    alignas(inotify_event) std::array<char, kReadBufferSize> buffer;
    const ssize_t length = ::read(m_inotifyDescriptor, buffer.data(), buffer.size());
    Batch batch;
    if (length <= 0)
        return batch;
    std::lock_guard guard(m_lock);
    for (ssize_t offset = 0; offset + ssize_t(sizeof(inotify_event)) <= length;) {
        const auto *event = reinterpret_cast<const inotify_event *>(buffer.data() + offset);
        offset += ssize_t(sizeof(inotify_event)) + event->len;
        if (event->mask & IN_Q_OVERFLOW) {
            batch.overflowed = true;
            continue;
        }
        merge(batch, event->wd, eventsOf(*event));
    }
    if (batch.overflowed) {
        warnAboutFailure("Keeping up with file-system changes", EOVERFLOW, "fs.inotify.max_queued_events");
        // The lost events may have been anything: every item is told it was written
        // to, which makes its owner read it again.
        for (const auto &[watch, record] : m_watches) {
            if (record.alive)
                merge(batch, watch, NoteWrite);
        }
    }
    return batch;
}

// The vnode bits of one event, updating what is known of the watched item.
quint32 KernelEventQueue::eventsOf(const inotify_event &event)
{
    const auto found = m_watches.find(event.wd);
    if (found == m_watches.end())
        return 0;
    Watch &record = found->second;
    if (event.mask & IN_IGNORED) {
        record.alive = false;
        return 0;
    }
    const ItemState before = record.state;
    if (event.len == 0 && (event.mask & (IN_MODIFY | IN_ATTRIB)))
        snapshot(record);
    return vnodeEventsFor(event, before, record.state);
}

void KernelEventQueue::merge(Batch &batch, int watch, quint32 events)
{
    if (events == 0)
        return;
    for (Change &change : batch.changes) {
        if (change.watch == watch) {
            change.events |= events;
            return;
        }
    }
    batch.changes.push_back({watch, events});
}

// Reads the item's size and link count again. When the path no longer leads to the
// watched item (it was renamed or replaced), nothing is known of it any more.
void KernelEventQueue::snapshot(Watch &watch)
{
    struct stat status {};
    const bool known = ::stat(PathCodec::encode(watch.path).constData(), &status) == 0;
    if (!known || (watch.identified && (watch.device != status.st_dev || watch.inode != status.st_ino))) {
        watch.state = {};
        return;
    }
    watch.identified = true;
    watch.device = status.st_dev;
    watch.inode = status.st_ino;
    watch.state = {qint64(status.st_size), FileAttributes::linkCountOf(status)};
}

quint32 KernelEventQueue::vnodeEventsFor(const inotify_event &event, const ItemState &before, const ItemState &after)
{
    quint32 events = 0;
    for (const Translation &translation : kTranslations) {
        if (event.mask & translation.inotifyBit)
            events |= translation.vnodeBits;
    }
    // A directory's link count changes when a sub-directory comes or goes.
    if ((event.mask & IN_ISDIR) && (event.mask & kDirectoryEntryMask))
        events |= NoteLink;
    // Events with a name concern an entry inside a watched directory. Writes to and
    // attribute changes of such an entry leave the directory's own vnode untouched,
    // so kqueue reports nothing for them, and neither does this queue.
    if (event.len > 0)
        return events;
    if (event.mask & IN_MODIFY) {
        events |= NoteWrite;
        if (before.size && after.size && *after.size > *before.size)
            events |= NoteExtend;
    }
    if (event.mask & IN_ATTRIB) {
        events |= NoteAttrib;
        if (before.linkCount && after.linkCount && *after.linkCount != *before.linkCount)
            events |= NoteLink;
    }
    return events;
}
