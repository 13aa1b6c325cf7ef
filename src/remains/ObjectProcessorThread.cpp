#include "ObjectProcessorThread.h"

#include "ObjectProcessorThreadManager.h"
#include "ObjectProcessorWorker.h"
#include "StartStopTrigger.h"
#include "platform/Delays.h"
#include "platform/DispatchGroup.h"
#include "platform/SerialQueue.h"

#include <condition_variable>
#include <mutex>

// The idle poll of a loop. It is plain polling, but the wait ends early when the
// worker's trigger is stopped (the loop is over anyway) or the worker is destroyed, so
// that neither has to wait out a whole poll interval.
class ObjectProcessorThread::IdleWait
{
public:
    template<typename Predicate>
    void sleep(Delays::ms interval, Predicate isOver)
    {
        std::unique_lock lock(m_lock);
        m_wake.wait_for(lock, interval, [&] { return m_closed || isOver(); });
    }

    void wake()
    {
        { std::lock_guard lock(m_lock); } // a loop between its test and its wait sees the change
        m_wake.notify_all();
    }

    void close()
    {
        {
            std::lock_guard lock(m_lock);
            m_closed = true;
        }
        m_wake.notify_all();
    }

private:
    std::mutex m_lock;
    std::condition_variable m_wake;
    bool m_closed = false;
};

// What a running loop holds. The thread object itself is held only weakly, so that the
// processor can drop its workers while loops are polling.
struct ObjectProcessorThread::LoopContext
{
    std::weak_ptr<ObjectProcessorThread> thread;
    std::shared_ptr<StartStopTrigger> trigger;
    std::shared_ptr<DispatchGroup> group;
    std::shared_ptr<IdleWait> idleWait;
    quint32 cycle = 0;
};

std::shared_ptr<ObjectProcessorThread> ObjectProcessorThread::initWithManager(
    const std::shared_ptr<ObjectProcessorThreadManager> &manager, std::shared_ptr<ObjectProcessorWorker> worker)
{
    std::shared_ptr<ObjectProcessorThread> thread(new ObjectProcessorThread(manager, std::move(worker)));
    thread->m_pCtrl = StartStopTrigger::initWithListener(thread);
    return thread;
}

ObjectProcessorThread::ObjectProcessorThread(const std::shared_ptr<ObjectProcessorThreadManager> &manager,
                                             std::shared_ptr<ObjectProcessorWorker> worker)
    : m_pManager(manager)
    , m_pWorker(std::move(worker))
    , m_pWorkGroup(manager ? manager->getWorkDispatchGroup() : std::make_shared<DispatchGroup>())
    , m_idleWait(std::make_shared<IdleWait>())
    , m_pWorkQueue(std::make_unique<SerialQueue>(QStringLiteral("ObjectProcessorThreaded work queue")))
{
}

ObjectProcessorThread::~ObjectProcessorThread()
{
    m_idleWait->close();
    m_pWorkQueue.reset(); // joins, or lets the loop end by itself when it is the caller
}

void ObjectProcessorThread::startLoopWithCycleIndex(quint32 cycle)
{
    m_pWorkGroup->enter();
    m_pWorkQueue->async([context = LoopContext{weak_from_this(), m_pCtrl, m_pWorkGroup, m_idleWait, cycle}] {
        runLoop(context);
        context.group->leave();
    });
}

void ObjectProcessorThread::runLoop(const LoopContext &context)
{
    const auto isCurrentCycle = [&context] { return context.trigger->cycle() == context.cycle; };
    while (isCurrentCycle()) {
        bool worked = false;
        {
            const auto thread = context.thread.lock();
            if (!thread)
                return;
            worked = thread->performNextObject();
        }
        if (!worked) {
            context.group->leave();
            context.idleWait->sleep(Delays::scaled(Delays::kWorkerIdlePoll), [&] { return !isCurrentCycle(); });
            context.group->enter();
        }
    }
}

bool ObjectProcessorThread::performNextObject()
{
    std::any object;
    if (const auto manager = m_pManager.lock())
        object = manager->requestObjectForProcessor(this);
    if (!object.has_value())
        return false;
    m_pWorker->performWorkForObject(object);
    return true;
}

void ObjectProcessorThread::onTriggerStarted(StartStopTrigger *trigger)
{
    if (trigger == m_pCtrl.get())
        startLoopWithCycleIndex(trigger->cycle());
}

void ObjectProcessorThread::onTriggerStopped(StartStopTrigger *trigger)
{
    // The loop notices the new cycle by itself; a polling loop need not sleep on.
    if (trigger == m_pCtrl.get())
        m_idleWait->wake();
}
