#pragma once

#include <QDateTime>
#include <QtGlobal>

#include <optional>

class FileItem;
class FileItemDataListener;

// The optional companion of a file item: its size once calculated, its dates and the
// counts of the folders and files it holds.
//
// Threads: the thread of its item (the main thread). Ownership: owned by its item,
// which it refers to without owning; its listener must outlive it.
class FileItemData
{
public:
    // What an item holds, counted.
    struct SubItems
    {
        quint64 countOfFolders = 0;
        quint64 countOfFiles = 0;
    };

    explicit FileItemData(FileItem *item); // initWithItem

    FileItem *getFileItem() const { return m_pItem; }
    void setListener(FileItemDataListener *listener) { m_pListener = listener; }
    // Bytes; -1 until calculated.
    qint64 getSize() const { return m_nSize; }
    bool isNeedCalculateSize() const { return m_nSize == -1; }
    bool isSizeCalculating() const { return isNeedCalculateSize(); }
    // The first calculated size wins; later ones are dropped.
    void onSizeCalculated(qint64 size);

    // Read from the file system on first use and kept (invalid when unknown).
    QDateTime getCreationDate();
    QDateTime getLastAccessDate();

    std::optional<SubItems> subItems() const { return m_subItems; }
    void setSubItems(std::optional<SubItems> subItems) { m_subItems = subItems; }
    // The counts of the contents, plus the item itself.
    quint64 countOfFolders() const;
    quint64 countOfFiles() const;

private:
    FileItem *m_pItem;
    FileItemDataListener *m_pListener = nullptr;
    qint64 m_nSize = -1;
    std::optional<QDateTime> m_pCreationDate;
    std::optional<QDateTime> m_pLastAccessDate;
    std::optional<SubItems> m_subItems;
};
