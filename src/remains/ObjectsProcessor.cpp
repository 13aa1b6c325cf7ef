#include "ObjectsProcessor.h"

#include "ObjectProcessorDelegate.h"
#include "ObjectProcessorThread.h"
#include "RemainsLogging.h"
#include "StartStopTrigger.h"
#include "platform/DispatchGroup.h"
#include "platform/SerialQueue.h"

#include <chrono>

std::shared_ptr<ObjectsProcessor> ObjectsProcessor::initWithCountOfWorkers(
    qint32 count, const std::shared_ptr<ObjectProcessorDelegate> &delegate, bool autoStart)
{
    std::shared_ptr<ObjectsProcessor> processor(new ObjectsProcessor(delegate, autoStart));
    processor->m_pCtrl = StartStopTrigger::initWithListener(processor);
    processor->createWorkers(count, delegate);
    return processor;
}

ObjectsProcessor::ObjectsProcessor(const std::shared_ptr<ObjectProcessorDelegate> &delegate, bool autoStart)
    : m_pDelegate(delegate)
    , m_bAutoStart(autoStart)
    , m_bIsNeedAutoStart(autoStart)
    , m_pWorkDispatchGroup(std::make_shared<DispatchGroup>())
    , m_pWorkQueue(std::make_shared<SerialQueue>(QStringLiteral("ObjectsProcessor work queue")))
{
}

ObjectsProcessor::~ObjectsProcessor()
{
    // Workers first: their loops may still ask for objects until they are joined.
    m_arrWorkers.clear();
    m_pWorkQueue.reset();
}

void ObjectsProcessor::createWorkers(qint32 count, const std::shared_ptr<ObjectProcessorDelegate> &delegate)
{
    for (qint32 i = 0; i < count; ++i) {
        std::shared_ptr<ObjectProcessorWorker> worker = delegate ? delegate->createWorker() : nullptr;
        m_arrWorkers.push_back(ObjectProcessorThread::initWithManager(shared_from_this(), std::move(worker)));
    }
}

void ObjectsProcessor::post(std::function<void(ObjectsProcessor &)> task)
{
    m_pWorkQueue->async([weakSelf = weak_from_this(), task = std::move(task)] {
        if (const auto self = weakSelf.lock())
            task(*self);
    });
}

void ObjectsProcessor::addObject(std::any object)
{
    std::vector<std::any> objects;
    objects.push_back(std::move(object));
    addObjects(std::move(objects));
}

void ObjectsProcessor::addObjects(std::vector<std::any> objects)
{
    std::erase_if(objects, [](const std::any &object) { return !object.has_value(); });
    if (objects.empty())
        return;
    // std::function needs a copyable task; the objects travel in a shared vector.
    auto shared = std::make_shared<std::vector<std::any>>(std::move(objects));
    post([shared](ObjectsProcessor &self) { self.appendObjects(std::move(*shared)); });
}

void ObjectsProcessor::appendObjects(std::vector<std::any> objects)
{
    std::lock_guard guard(m_pAccessToObjectsLock);
    for (std::any &object : objects)
        m_arrObjectsForWork.push_back(std::move(object));
    if (m_bIsNeedAutoStart)
        m_pCtrl->start();
}

std::any ObjectsProcessor::requestObjectForProcessor(ObjectProcessorThread *)
{
    std::lock_guard guard(m_pAccessToObjectsLock);
    if (m_checkState == CheckState::Parked)
        scheduleIsWorkCompletedCheck(); // the asking worker is inside the group now
    if (m_arrObjectsForWork.empty())
        return {};
    std::any object = std::move(m_arrObjectsForWork.back());
    m_arrObjectsForWork.pop_back();
    return object;
}

void ObjectsProcessor::scheduleIsWorkCompletedCheck()
{
    std::lock_guard guard(m_pAccessToObjectsLock);
    // One check at a time: a second chain would report a completion twice.
    if (m_checkState == CheckState::Armed)
        return;
    m_checkState = CheckState::Armed;
    m_pWorkDispatchGroup->notify(m_pWorkQueue, [weakSelf = weak_from_this()] {
        if (const auto self = weakSelf.lock())
            self->checkIsWorkCompleted();
    });
}

void ObjectsProcessor::checkIsWorkCompleted()
{
    using namespace std::chrono_literals;
    std::lock_guard guard(m_pAccessToObjectsLock);
    m_checkState = CheckState::None;
    const bool noWorkerInside = m_pWorkDispatchGroup->wait(0ms);
    if (!m_arrObjectsForWork.empty()) {
        // Objects are pending. With a worker inside the group, check again once it
        // leaves. With none inside (all polling, stopped, or no workers at all) the group
        // notification would fire at once, again and again: park the check instead until
        // a worker next asks for an object, which happens inside the group.
        if (noWorkerInside)
            m_checkState = CheckState::Parked;
        else
            scheduleIsWorkCompletedCheck();
    } else if (noWorkerInside) {
        completeRun();
    } else {
        scheduleIsWorkCompletedCheck(); // a worker came back from its poll meanwhile
    }
}

void ObjectsProcessor::completeRun()
{
    m_pCtrl->stop();
    m_arrObjectsForWork.clear();
    m_isWorking.store(false);
    m_bIsNeedAutoStart = m_bAutoStart;
    qCDebug(lcRemains) << "work processor run completed";
    if (const auto delegate = m_pDelegate.lock())
        delegate->onObjectsProcessorWorkCompleted(this);
}

void ObjectsProcessor::onTriggerStarted(StartStopTrigger *trigger)
{
    if (trigger == m_pCtrl.get())
        post([](ObjectsProcessor &self) { self.beginRun(); });
}

void ObjectsProcessor::beginRun()
{
    m_isWorking.store(true);
    {
        std::lock_guard guard(m_pAccessToObjectsLock);
        m_bIsNeedAutoStart = false;
    }
    qCDebug(lcRemains) << "work processor run begins with" << m_arrWorkers.size() << "workers";
    if (const auto delegate = m_pDelegate.lock())
        delegate->onObjectsProcessorWorkBegin(this);
    for (const auto &worker : m_arrWorkers)
        worker->getController()->start();
    scheduleIsWorkCompletedCheck();
}

void ObjectsProcessor::onTriggerStopped(StartStopTrigger *trigger)
{
    if (trigger != m_pCtrl.get())
        return;
    post([](ObjectsProcessor &self) {
        for (const auto &worker : self.m_arrWorkers)
            worker->getController()->stop();
    });
}
