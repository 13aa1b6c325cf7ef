#pragma once

#include "ObjectProcessorDelegate.h"
#include "ObjectProcessorWorker.h"

#include <QString>
#include <QtGlobal>

#include <memory>
#include <mutex>
#include <set>

class ObjectsProcessor;
class SimpleSizeCalculationTask;

// Measures the disk space of files and folders in the background, four at a time, and
// tells each task's listener on the main thread, once per task, in the order in which
// the measurements finish.
//
// One process-wide instance (GetInstance), created on first use, on the main thread
// once the application exists, and never destroyed. When the application begins to
// quit (or is destroyed without quitting) the calculator stops: the workers end, walks
// in progress give up, and later tasks are refused, so no worker outlives the
// application doing work. addTask may be called from any thread. The calculator is the
// worker object of all four workers; it keeps no state between tasks.
class SimpleSizeCalculation : public ObjectProcessorDelegate,
                              public ObjectProcessorWorker,
                              public std::enable_shared_from_this<SimpleSizeCalculation>
{
public:
    static constexpr qint32 kWorkerCount = 4;

    static SimpleSizeCalculation &GetInstance();

    // A null task is ignored, and every task once quitting has begun; returns at once.
    void addTask(const std::shared_ptr<SimpleSizeCalculationTask> &task);
    // Stops the workers; tasks not yet started stay queued.
    void cancelAllTasks();
    std::shared_ptr<ObjectsProcessor> getProcessor() const { return m_pProcessor; }

    std::shared_ptr<ObjectProcessorWorker> createWorker() override;
    void onObjectsProcessorWorkBegin(ObjectsProcessor *processor) override;
    void onObjectsProcessorWorkCompleted(ObjectsProcessor *processor) override;
    void performWorkForObject(const std::any &object) override;

    // Space on disk of a folder's contents (the folder itself adds nothing); 0 for
    // anything that is not a folder, a link to one included.
    static qint64 fastFolderSizeOfItemWithPath(const QString &path);
    // Space on disk of the item itself, a link being measured as the link; 0 when it
    // is missing.
    static qint64 sizeOfFile(const QString &path);

private:
    SimpleSizeCalculation() = default;
    void init();
    void stopForQuit();
    // Registers a task as being measured; false once quitting has begun.
    bool beginMeasuring(const std::shared_ptr<SimpleSizeCalculationTask> &task);
    void endMeasuring(const std::shared_ptr<SimpleSizeCalculationTask> &task);

    std::shared_ptr<ObjectsProcessor> m_pProcessor;
    std::mutex m_measuringLock;
    bool m_bIsQuitting = false;
    std::set<std::shared_ptr<SimpleSizeCalculationTask>> m_measuring;
};
