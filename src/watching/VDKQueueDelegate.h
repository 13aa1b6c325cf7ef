#pragma once

#include <QString>

class VDKQueue;

// Hears of the changes of the paths a VDKQueue watches.
class VDKQueueDelegate
{
public:
    virtual ~VDKQueueDelegate() = default;

    // One change of a watched path, named by one of the queue's notification names.
    // Always called on the main thread; the names of one event arrive in the queue's
    // fixed order (rename first, revoke last).
    virtual void VDKQueue(::VDKQueue *queue, const QString &notificationName, const QString &path) = 0;
};
