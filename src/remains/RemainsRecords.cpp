#include "RemainsRecords.h"

void RemainsRecords::setSize(const QString &path, quint64 size)
{
    m_nTotalSize += size;
    for (QList<PathForRemove> *array : {&m_arrAppObjectPaths, &m_arrRemainsObjectPaths}) {
        for (PathForRemove &record : *array) {
            if (record.path() == path && !record.isSizeCalculated()) {
                record.setSize(size);
                return;
            }
        }
    }
}

bool RemainsRecords::isEverySizeIn() const
{
    QList<PathForRemove> records;
    appendTo(records);
    return isEverySizeIn(records);
}

bool RemainsRecords::isEverySizeIn(const QList<PathForRemove> &records)
{
    return std::all_of(records.cbegin(), records.cend(), [](const PathForRemove &record) { return record.isSizeCalculated(); });
}

void RemainsRecords::appendTo(QList<PathForRemove> &array) const
{
    array.append(m_arrAppObjectPaths);
    array.append(m_arrRemainsObjectPaths);
}
