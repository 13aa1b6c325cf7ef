#pragma once

#include <QString>
#include <QtGlobal>

#include <memory>

class KernelEventQueue;

// One path watched by a VDKQueue: the path as the caller gave it, its kernel watch and
// the vnode events it subscribes to. The watch lasts as long as the entry.
//
// Threads: used under its VDKQueue's lock. Ownership: owned by its VDKQueue; refers
// to the queue's kernel event queue, which outlives it.
class VDKQueuePathEntry
{
public:
    // A watched entry; null when the path cannot be watched (it does not exist, or
    // cannot be read).
    static std::unique_ptr<VDKQueuePathEntry> initWithPath(KernelEventQueue &queue, const QString &path,
                                                           quint32 subscriptionFlags);
    ~VDKQueuePathEntry();
    VDKQueuePathEntry(const VDKQueuePathEntry &) = delete;
    VDKQueuePathEntry &operator=(const VDKQueuePathEntry &) = delete;

    QString path() const { return m_path; }
    // The kernel watch; two paths of one item share one.
    int watchedFD() const { return m_watchedFD; }
    quint32 subscriptionFlags() const { return m_subscriptionFlags; }
    void setSubscriptionFlags(quint32 flags) { m_subscriptionFlags = flags; }

private:
    VDKQueuePathEntry(KernelEventQueue &queue, QString path, int watch, quint32 subscriptionFlags);

    KernelEventQueue &m_queue;
    const QString m_path;
    const int m_watchedFD;
    quint32 m_subscriptionFlags;
};
