#pragma once

#include <any>
#include <vector>

class SafeCollector;

// Receives the batches of a SafeCollector, on the collector's work queue.
class SafeCollectorListener
{
public:
    virtual ~SafeCollectorListener() = default;

    virtual void onSafeCollector(SafeCollector *collector, const std::vector<std::any> &items) = 0;
};
