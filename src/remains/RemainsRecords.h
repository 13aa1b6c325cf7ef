#pragma once

#include "core/PathForRemove.h"

#include <QList>
#include <QString>

// The records of one trashed application, the application's own first (one per
// trashed copy), then its remains, with the running total of the sizes measured.
// A plain value of the main thread.
class RemainsRecords
{
public:
    void addApplication(const PathForRemove &record) { m_arrAppObjectPaths.append(record); }
    void addRemains(const QList<PathForRemove> &records) { m_arrRemainsObjectPaths.append(records); }
    QList<PathForRemove> remains() const { return m_arrRemainsObjectPaths; }

    // Gives the size to the first record of the path still without one (the same path
    // may have been added twice) and adds it to the total.
    void setSize(const QString &path, quint64 size);
    quint64 totalSize() const { return m_nTotalSize; }
    bool isEverySizeIn() const;
    static bool isEverySizeIn(const QList<PathForRemove> &records);
    // Appends the applications' records, then the remains'.
    void appendTo(QList<PathForRemove> &array) const;

private:
    QList<PathForRemove> m_arrAppObjectPaths;
    QList<PathForRemove> m_arrRemainsObjectPaths;
    quint64 m_nTotalSize = 0;
};
