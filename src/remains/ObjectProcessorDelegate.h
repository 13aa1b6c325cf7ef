#pragma once

#include <memory>

class ObjectProcessorWorker;
class ObjectsProcessor;

// The owner of an ObjectsProcessor: supplies the worker objects and hears when a run
// begins and when the pending objects have run dry. createWorker is called while the
// processor is being created; the two other calls arrive on the processor's work queue.
class ObjectProcessorDelegate
{
public:
    virtual ~ObjectProcessorDelegate() = default;

    virtual std::shared_ptr<ObjectProcessorWorker> createWorker() = 0;
    virtual void onObjectsProcessorWorkBegin(ObjectsProcessor *processor) = 0;
    virtual void onObjectsProcessorWorkCompleted(ObjectsProcessor *processor) = 0;
};
