#pragma once

#include "ObjectProcessorThreadManager.h"
#include "StartStopTriggerListener.h"

#include <QtGlobal>

#include <any>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

class DispatchGroup;
class ObjectProcessorDelegate;
class SerialQueue;
class StartStopTrigger;

// Runs one kind of job over a list of objects on a fixed number of worker threads and
// tells its delegate when the list has run dry.
//
// Pending objects form a stack (the newest is worked on first). Additions, the begin of a
// run, the stop fan-out and the completion check run on the processor's serial queue
// ("ObjectsProcessor work queue"); each worker loops on its own queue. A run is complete
// when nothing is pending and no worker is inside the shared group, that is, every worker
// is idle. With auto-start the first addition to an idle processor starts a run.
//
// Thread-safe; owned through shared_ptr (the workers and queued work hold it weakly).
// The delegate is held weakly. Destroying the processor never waits for work: polling
// workers wake and end, and a worker in the middle of an object finishes it on its own
// thread before it ends.
class ObjectsProcessor : public StartStopTriggerListener,
                         public ObjectProcessorThreadManager,
                         public std::enable_shared_from_this<ObjectsProcessor>
{
public:
    // A count of 0 or less creates no worker.
    static std::shared_ptr<ObjectsProcessor> initWithCountOfWorkers(qint32 count,
                                                                    const std::shared_ptr<ObjectProcessorDelegate> &delegate,
                                                                    bool autoStart);
    ~ObjectsProcessor() override;
    ObjectsProcessor(const ObjectsProcessor &) = delete;
    ObjectsProcessor &operator=(const ObjectsProcessor &) = delete;

    // Stopping this trigger stops every worker; the pending objects stay.
    std::shared_ptr<StartStopTrigger> getController() const { return m_pCtrl; }
    // Both return at once; empty objects are ignored.
    void addObject(std::any object);
    void addObjects(std::vector<std::any> objects);
    bool isProcessorWorking() const { return m_isWorking.load(); }
    std::vector<std::shared_ptr<class ObjectProcessorThread>> getWorkers() const { return m_arrWorkers; }

    std::shared_ptr<DispatchGroup> getWorkDispatchGroup() override { return m_pWorkDispatchGroup; }
    std::any requestObjectForProcessor(ObjectProcessorThread *processor) override;

    void checkIsWorkCompleted();
    void scheduleIsWorkCompletedCheck();

    void onTriggerStarted(StartStopTrigger *trigger) override;
    void onTriggerStopped(StartStopTrigger *trigger) override;

private:
    // Where the completion check stands: not scheduled, waiting for the group to empty,
    // or parked until a worker next looks for work (see checkIsWorkCompleted).
    enum class CheckState { None, Armed, Parked };

    ObjectsProcessor(const std::shared_ptr<ObjectProcessorDelegate> &delegate, bool autoStart);
    void createWorkers(qint32 count, const std::shared_ptr<ObjectProcessorDelegate> &delegate);
    // Runs the task on the work queue while the processor is alive.
    void post(std::function<void(ObjectsProcessor &)> task);
    void appendObjects(std::vector<std::any> objects);
    void beginRun();
    void completeRun();

    std::weak_ptr<ObjectProcessorDelegate> m_pDelegate;
    const bool m_bAutoStart;
    bool m_bIsNeedAutoStart;
    std::vector<std::shared_ptr<ObjectProcessorThread>> m_arrWorkers;
    std::vector<std::any> m_arrObjectsForWork;
    std::shared_ptr<DispatchGroup> m_pWorkDispatchGroup;
    std::shared_ptr<SerialQueue> m_pWorkQueue;
    std::shared_ptr<StartStopTrigger> m_pCtrl;
    std::recursive_mutex m_pAccessToObjectsLock;
    std::atomic<bool> m_isWorking{false};
    CheckState m_checkState = CheckState::None;
};
