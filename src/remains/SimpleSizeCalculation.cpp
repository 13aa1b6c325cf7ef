#include "SimpleSizeCalculation.h"

#include "FolderSizeWalk.h"
#include "ObjectsProcessor.h"
#include "RemainsLogging.h"
#include "SimpleSizeCalculationTask.h"
#include "SimpleSizeCalculationTaskListener.h"
#include "StartStopTrigger.h"
#include "platform/FileAttributes.h"
#include "platform/MainThread.h"

#include <QCoreApplication>

#include <limits>

namespace {

qint64 clamped(quint64 size)
{
    return static_cast<qint64>(qMin<quint64>(size, std::numeric_limits<qint64>::max()));
}

} // namespace

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
    if (QCoreApplication *app = QCoreApplication::instance()) {
        QObject::connect(app, &QCoreApplication::aboutToQuit, app, [this] { stopForQuit(); });
        qAddPostRoutine([] { GetInstance().stopForQuit(); });
    }
}

// The workers end, and the tasks being measured are cancelled under the same lock as
// their registration: none of them gets a size or reaches its listener afterwards.
void SimpleSizeCalculation::stopForQuit()
{
    {
        std::lock_guard guard(m_measuringLock);
        m_bIsQuitting = true;
        for (const auto &task : m_measuring)
            task->cancel();
    }
    cancelAllTasks();
}

void SimpleSizeCalculation::addTask(const std::shared_ptr<SimpleSizeCalculationTask> &task)
{
    std::lock_guard guard(m_measuringLock);
    if (task && !m_bIsQuitting)
        m_pProcessor->addObject(task);
}

bool SimpleSizeCalculation::beginMeasuring(const std::shared_ptr<SimpleSizeCalculationTask> &task)
{
    std::lock_guard guard(m_measuringLock);
    if (m_bIsQuitting || task->isCancelled())
        return false;
    m_measuring.insert(task);
    return true;
}

void SimpleSizeCalculation::endMeasuring(const std::shared_ptr<SimpleSizeCalculationTask> &task)
{
    std::lock_guard guard(m_measuringLock);
    m_measuring.erase(task);
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

// A link is measured as the link, never what it points to: a remain made a link to
// the whole disk must neither walk it nor claim its size.
void SimpleSizeCalculation::performWorkForObject(const std::any &object)
{
    const auto *held = std::any_cast<std::shared_ptr<SimpleSizeCalculationTask>>(&object);
    if (!held || !*held)
        return;
    const std::shared_ptr<SimpleSizeCalculationTask> task = *held;
    if (!beginMeasuring(task))
        return;
    const QString path = task->itemPath();
    const std::optional<quint64> size = FolderSizeWalk::allocatedSizeOfItem(path, [&task] { return task->isCancelled(); });
    const bool finished = size && task->finishWithSize(*size); // still registered: a quit cancels it first or finds it done
    endMeasuring(task);
    if (!finished)
        return; // cancelled: nobody is told
    qCDebug(lcRemains) << "measured" << path << *size;
    if (auto listener = task->listener()) {
        MainThread::async([listener = std::move(listener), task] {
            if (!task->isCancelled())
                listener->onSimpleSizeCalculationTaskComplete(task);
        });
    }
}

qint64 SimpleSizeCalculation::fastFolderSizeOfItemWithPath(const QString &path)
{
    if (FileAttributes::resourceType(path) != FileAttributes::ResourceType::Directory)
        return 0;
    return clamped(FolderSizeWalk::allocatedSizeOfItem(path).value_or(0));
}

qint64 SimpleSizeCalculation::sizeOfFile(const QString &path)
{
    return clamped(FileAttributes::allocatedSize(path).value_or(0));
}
