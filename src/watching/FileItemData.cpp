#include "FileItemData.h"

#include "FileItem.h"
#include "FileItemDataListener.h"

#include <QFileInfo>

FileItemData::FileItemData(FileItem *item)
    : m_pItem(item)
{
}

void FileItemData::onSizeCalculated(qint64 size)
{
    if (m_nSize != -1)
        return;
    m_nSize = size;
    if (m_pListener)
        m_pListener->onFileItemSizeCalculated();
}

QDateTime FileItemData::getCreationDate()
{
    if (!m_pCreationDate)
        m_pCreationDate = QFileInfo(m_pItem->buildFullPath()).birthTime();
    return *m_pCreationDate;
}

QDateTime FileItemData::getLastAccessDate()
{
    if (!m_pLastAccessDate)
        m_pLastAccessDate = QFileInfo(m_pItem->buildFullPath()).lastRead();
    return *m_pLastAccessDate;
}

quint64 FileItemData::countOfFolders() const
{
    return (m_subItems ? m_subItems->countOfFolders : 0) + (m_pItem->isDir() ? 1 : 0);
}

quint64 FileItemData::countOfFiles() const
{
    return (m_subItems ? m_subItems->countOfFiles : 0) + (m_pItem->isDir() ? 0 : 1);
}
