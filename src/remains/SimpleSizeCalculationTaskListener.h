#pragma once

#include <memory>

class SimpleSizeCalculationTask;

// Told on the main thread when the size of a task's path has been measured.
class SimpleSizeCalculationTaskListener
{
public:
    virtual ~SimpleSizeCalculationTaskListener() = default;

    virtual void onSimpleSizeCalculationTaskComplete(const std::shared_ptr<SimpleSizeCalculationTask> &task) = 0;
};
