#pragma once

#include <any>

// Does the job of an ObjectsProcessor for one pending object. Called on the queue of the
// worker thread that took the object, one object at a time per worker; a worker object
// shared by several worker threads must therefore be safe to call concurrently.
class ObjectProcessorWorker
{
public:
    virtual ~ObjectProcessorWorker() = default;

    virtual void performWorkForObject(const std::any &object) = 0;
};
