#include "SimpleSizeCalculationTask.h"

std::shared_ptr<SimpleSizeCalculationTaskListener> SimpleSizeCalculationTask::listener() const
{
    std::lock_guard guard(m_lock);
    return m_listener;
}

void SimpleSizeCalculationTask::setListener(std::shared_ptr<SimpleSizeCalculationTaskListener> listener)
{
    std::lock_guard guard(m_lock);
    m_listener = std::move(listener);
}

QString SimpleSizeCalculationTask::itemPath() const
{
    std::lock_guard guard(m_lock);
    return m_itemPath;
}

void SimpleSizeCalculationTask::setItemPath(const QString &path)
{
    std::lock_guard guard(m_lock);
    m_itemPath = path;
}

quint64 SimpleSizeCalculationTask::itemSize() const
{
    std::lock_guard guard(m_lock);
    return m_itemSize;
}

void SimpleSizeCalculationTask::setItemSize(quint64 size)
{
    std::lock_guard guard(m_lock);
    m_itemSize = size;
}

void SimpleSizeCalculationTask::cancel()
{
    std::lock_guard guard(m_lock);
    m_isCancelled = true;
}

bool SimpleSizeCalculationTask::isCancelled() const
{
    std::lock_guard guard(m_lock);
    return m_isCancelled;
}

bool SimpleSizeCalculationTask::finishWithSize(quint64 size)
{
    std::lock_guard guard(m_lock);
    if (m_isCancelled)
        return false;
    m_itemSize = size;
    return true;
}
