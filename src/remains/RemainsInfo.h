#pragma once

#include "SimpleSizeCalculationTaskListener.h"
#include "core/PathForRemove.h"

#include <QList>
#include <QString>

#include <memory>
#include <vector>

class SimpleSizeCalculationTask;

// What the notification window holds for each trashed application, whatever its kind
// (a bundle, an AppImage): the total of the sizes measured so far, the records handed
// to the main application, and the size work it started.
//
// Main thread only. The size tasks hold the object (as their listener) until their
// results are in; the object holds them weakly, to cancel them.
class RemainsInfo : public SimpleSizeCalculationTaskListener
{
public:
    virtual quint64 getTotalSize() const = 0;
    // Appends the applications' records, then the remains' records.
    virtual void addRemoveObjectPathsToArray(QList<PathForRemove> &array) const = 0;

    // Stops measuring: sizes not yet measured never will be (walks in progress give
    // up), and the listener hears of none, not even of one already on its way.
    void cancelSizeCalculation();

protected:
    // Queues the measure of the path; the task reports to the listener given (this
    // object, owned through shared_ptr).
    void queueSizeOfPath(const QString &path, std::shared_ptr<SimpleSizeCalculationTaskListener> listener);

private:
    std::vector<std::weak_ptr<SimpleSizeCalculationTask>> m_sizeTasks; // they hold this object
};
