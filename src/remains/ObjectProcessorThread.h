#pragma once

#include "StartStopTriggerListener.h"

#include <QtGlobal>

#include <memory>

class DispatchGroup;
class ObjectProcessorThreadManager;
class ObjectProcessorWorker;
class SerialQueue;
class StartStopTrigger;

// One worker of an ObjectsProcessor: a loop on its own serial queue ("ObjectProcessorThreaded
// work queue") that asks the manager for pending objects and hands each to the worker
// object, until the worker's own trigger begins a new cycle. When there is nothing to do
// the loop leaves the shared group and polls again a second later.
//
// Created and owned (through shared_ptr) by the processor; the manager is held weakly,
// the worker object strongly. Destroying the thread wakes a loop that is polling; a loop
// in the middle of an object holds the thread until it has finished that object.
class ObjectProcessorThread : public StartStopTriggerListener,
                              public std::enable_shared_from_this<ObjectProcessorThread>
{
public:
    static std::shared_ptr<ObjectProcessorThread> initWithManager(const std::shared_ptr<ObjectProcessorThreadManager> &manager,
                                                                  std::shared_ptr<ObjectProcessorWorker> worker);
    ~ObjectProcessorThread() override;
    ObjectProcessorThread(const ObjectProcessorThread &) = delete;
    ObjectProcessorThread &operator=(const ObjectProcessorThread &) = delete;

    std::shared_ptr<StartStopTrigger> getController() const { return m_pCtrl; }
    // Enters the shared group and runs the loop for the cycle on the worker's queue.
    void startLoopWithCycleIndex(quint32 cycle);

    void onTriggerStarted(StartStopTrigger *trigger) override;
    void onTriggerStopped(StartStopTrigger *trigger) override;

private:
    class IdleWait;
    struct LoopContext;

    ObjectProcessorThread(const std::shared_ptr<ObjectProcessorThreadManager> &manager,
                          std::shared_ptr<ObjectProcessorWorker> worker);
    static void runLoop(const LoopContext &context);
    // Asks the manager for one object and works it off; false when there was nothing to do.
    bool performNextObject();

    std::weak_ptr<ObjectProcessorThreadManager> m_pManager;
    std::shared_ptr<ObjectProcessorWorker> m_pWorker;
    std::shared_ptr<DispatchGroup> m_pWorkGroup;
    std::shared_ptr<IdleWait> m_idleWait;
    std::shared_ptr<StartStopTrigger> m_pCtrl;
    std::unique_ptr<SerialQueue> m_pWorkQueue;
};
