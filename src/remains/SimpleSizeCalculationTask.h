#pragma once

#include <QString>
#include <QtGlobal>

#include <memory>
#include <mutex>

class SimpleSizeCalculationTaskListener;

// One path to measure: the path, the size once measured (0 until then) and the listener
// to tell. The listener is held strongly, so that it lives until it has been told.
// A task can be cancelled at any time: it is then not measured, or its walk gives up,
// and its listener is not told.
//
// Every property is guarded by the task's own lock: the task is filled on the main
// thread, measured on a size worker and read back on the main thread.
class SimpleSizeCalculationTask
{
public:
    std::shared_ptr<SimpleSizeCalculationTaskListener> listener() const;
    void setListener(std::shared_ptr<SimpleSizeCalculationTaskListener> listener);
    QString itemPath() const;
    void setItemPath(const QString &path);
    quint64 itemSize() const;
    void setItemSize(quint64 size);

    void cancel();
    bool isCancelled() const;
    // Stores the measured size unless the task has been cancelled, and says whether it
    // did. Under the same lock as cancel(): a task cancelled first never gets a size.
    bool finishWithSize(quint64 size);

private:
    mutable std::mutex m_lock;
    std::shared_ptr<SimpleSizeCalculationTaskListener> m_listener;
    QString m_itemPath;
    quint64 m_itemSize = 0;
    bool m_isCancelled = false;
};
