#pragma once

#include "ObjectProcessorDelegate.h"
#include "ObjectProcessorWorker.h"

#include <QString>
#include <QtGlobal>

#include <memory>

class ObjectsProcessor;
class SimpleSizeCalculationTask;

// Measures the disk space of files and folders in the background, four at a time, and
// tells each task's listener on the main thread, once per task, in the order in which
// the measurements finish.
//
// One process-wide instance (GetInstance), created on first use and never destroyed.
// addTask may be called from any thread. The calculator is the worker object of all
// four workers; it keeps no state between tasks.
class SimpleSizeCalculation : public ObjectProcessorDelegate,
                              public ObjectProcessorWorker,
                              public std::enable_shared_from_this<SimpleSizeCalculation>
{
public:
    static constexpr qint32 kWorkerCount = 4;

    static SimpleSizeCalculation &GetInstance();

    // A null task is ignored; returns at once.
    void addTask(const std::shared_ptr<SimpleSizeCalculationTask> &task);
    // Stops the workers; tasks not yet started stay queued.
    void cancelAllTasks();
    std::shared_ptr<ObjectsProcessor> getProcessor() const { return m_pProcessor; }

    std::shared_ptr<ObjectProcessorWorker> createWorker() override;
    void onObjectsProcessorWorkBegin(ObjectsProcessor *processor) override;
    void onObjectsProcessorWorkCompleted(ObjectsProcessor *processor) override;
    void performWorkForObject(const std::any &object) override;

    // Space on disk of a folder's contents (the folder itself adds nothing).
    static qint64 fastFolderSizeOfItemWithPath(const QString &path);
    // Space on disk of the item itself; 0 when it is missing.
    static qint64 sizeOfFile(const QString &path);

private:
    SimpleSizeCalculation() = default;
    void init();

    std::shared_ptr<ObjectsProcessor> m_pProcessor;
};
