#include "VDKQueuePathEntry.h"

#include "platform/KernelEventQueue.h"

std::unique_ptr<VDKQueuePathEntry> VDKQueuePathEntry::initWithPath(KernelEventQueue &queue, const QString &path,
                                                                   quint32 subscriptionFlags)
{
    const int watch = queue.addWatch(path);
    if (watch < 0)
        return nullptr;
    return std::unique_ptr<VDKQueuePathEntry>(new VDKQueuePathEntry(queue, path, watch, subscriptionFlags));
}

VDKQueuePathEntry::VDKQueuePathEntry(KernelEventQueue &queue, QString path, int watch, quint32 subscriptionFlags)
    : m_queue(queue)
    , m_path(std::move(path))
    , m_watchedFD(watch)
    , m_subscriptionFlags(subscriptionFlags)
{
}

// Ending the watch is what stops the kernel reporting on the path.
VDKQueuePathEntry::~VDKQueuePathEntry()
{
    m_queue.removeWatch(m_watchedFD);
}
