#pragma once

#include <any>
#include <memory>

class DispatchGroup;
class ObjectProcessorThread;

// What a worker thread asks of the processor that runs it: the group every worker is
// "in" while it holds or looks for work, and the next pending object (empty when there
// is none). Called from the workers' queues.
class ObjectProcessorThreadManager
{
public:
    virtual ~ObjectProcessorThreadManager() = default;

    virtual std::shared_ptr<DispatchGroup> getWorkDispatchGroup() = 0;
    virtual std::any requestObjectForProcessor(ObjectProcessorThread *processor) = 0;
};
