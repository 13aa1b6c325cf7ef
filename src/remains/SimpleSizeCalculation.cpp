#include "SimpleSizeCalculation.h"

#include "FolderSizeWalk.h"
#include "ObjectsProcessor.h"
#include "RemainsLogging.h"
#include "SimpleSizeCalculationTask.h"
#include "SimpleSizeCalculationTaskListener.h"
#include "StartStopTrigger.h"
#include "platform/FileAttributes.h"
#include "platform/MainThread.h"

#include <limits>

SimpleSizeCalculation &SimpleSizeCalculation::GetInstance()
{
    // Never destroyed: its workers may still be polling when the process exits.
    static auto *const instance = [] {
        auto *created = new std::shared_ptr<SimpleSizeCalculation>(new SimpleSizeCalculation());
        (*created)->init();
        return created;
    }();
    return **instance;
}

void SimpleSizeCalculation::init()
{
    m_pProcessor = ObjectsProcessor::initWithCountOfWorkers(kWorkerCount, shared_from_this(), true);
}

void SimpleSizeCalculation::addTask(const std::shared_ptr<SimpleSizeCalculationTask> &task)
{
    if (task)
        m_pProcessor->addObject(task);
}

void SimpleSizeCalculation::cancelAllTasks()
{
    m_pProcessor->getController()->stop();
}

std::shared_ptr<ObjectProcessorWorker> SimpleSizeCalculation::createWorker()
{
    return shared_from_this();
}

void SimpleSizeCalculation::onObjectsProcessorWorkBegin(ObjectsProcessor *)
{
}

void SimpleSizeCalculation::onObjectsProcessorWorkCompleted(ObjectsProcessor *)
{
}

void SimpleSizeCalculation::performWorkForObject(const std::any &object)
{
    const auto *held = std::any_cast<std::shared_ptr<SimpleSizeCalculationTask>>(&object);
    if (!held || !*held)
        return;
    const std::shared_ptr<SimpleSizeCalculationTask> task = *held;
    const QString path = task->itemPath();
    qint64 size = 0;
    if (FileAttributes::exists(path))
        size = FileAttributes::isDirectory(path) ? fastFolderSizeOfItemWithPath(path) : sizeOfFile(path);
    task->setItemSize(static_cast<quint64>(qMax<qint64>(size, 0)));
    qCDebug(lcRemains) << "measured" << path << size;
    if (auto listener = task->listener()) {
        MainThread::async([listener = std::move(listener), task] { listener->onSimpleSizeCalculationTaskComplete(task); });
    }
}

qint64 SimpleSizeCalculation::fastFolderSizeOfItemWithPath(const QString &path)
{
    const quint64 total = FolderSizeWalk::allocatedSizeOfContents(path);
    return static_cast<qint64>(qMin<quint64>(total, std::numeric_limits<qint64>::max()));
}

qint64 SimpleSizeCalculation::sizeOfFile(const QString &path)
{
    const auto size = FileAttributes::allocatedSize(path);
    return size ? static_cast<qint64>(qMin<quint64>(*size, std::numeric_limits<qint64>::max())) : 0;
}
