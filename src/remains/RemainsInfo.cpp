#include "RemainsInfo.h"

#include "SimpleSizeCalculation.h"
#include "SimpleSizeCalculationTask.h"

void RemainsInfo::queueSizeOfPath(const QString &path, std::shared_ptr<SimpleSizeCalculationTaskListener> listener)
{
    auto task = std::make_shared<SimpleSizeCalculationTask>();
    task->setListener(std::move(listener));
    task->setItemPath(path);
    m_sizeTasks.push_back(task);
    SimpleSizeCalculation::GetInstance().addTask(task);
}

void RemainsInfo::cancelSizeCalculation()
{
    for (const auto &held : std::as_const(m_sizeTasks)) {
        if (const auto task = held.lock())
            task->cancel();
    }
    m_sizeTasks.clear();
}
