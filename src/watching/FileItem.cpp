#include "FileItem.h"

#include "FileItemData.h"
#include "core/FileManagerUtils.h"
#include "platform/DirectoryListing.h"
#include "platform/Workspace.h"
#include "core/SystemSkipList.h"

#include <QStringList>

#include <vector>

namespace {

// The last component of a path ("b" of "/a/b/"; "/" of "/").
QString lastPathComponent(const QString &path)
{
    qsizetype end = path.size();
    while (end > 1 && path.at(end - 1) == QLatin1Char('/'))
        --end;
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'), end - 1);
    if (slash < 0 || end == 1)
        return path.left(end);
    return path.mid(slash + 1, end - slash - 1);
}

// A listed entry's path: the names of a listing never hold a "/", so one allocation
// does (a Trash refresh makes one per new entry).
QString childPath(const QString &directory, const QString &name)
{
    return directory.endsWith(QLatin1Char('/')) ? directory + name : directory + QLatin1Char('/') + name;
}

} // namespace

FileItem::FileItem() = default;
FileItem::~FileItem() = default;

FileItem::ItemPointer FileItem::createTreeForPath(const QString &path)
{
    return createTreeForPath(path, -1);
}

FileItem::ItemPointer FileItem::createTreeForPath(const QString &path, int deep)
{
    ItemPointer root(new FileItem);
    root->m_nDeep = deep;
    root->m_sFullPath = path;
    root->m_sNameWithExt = lastPathComponent(path);
    if (!loadStandartInfoForPath(root, path, deep, ResourceType::Unknown))
        return nullptr;
    return root;
}

FileItem *FileItem::createTreeForPath(const QString &path, int deep, FileItem *parent, const QString &name)
{
    return parent ? createChild(path, deep, parent, name, ResourceType::Unknown) : nullptr;
}

// A child keeps depth 0 in m_nDeep: only the root remembers the depth it was loaded
// with, which is what a refresh of the root passes on to the entries it finds.
FileItem *FileItem::createChild(const QString &path, int deep, FileItem *parent, const QString &name,
                                ResourceType listedType)
{
    ItemPointer child(new FileItem);
    child->m_pListener = parent;
    child->m_sNameWithExt = name;
    return loadStandartInfoForPath(child, path, deep, listedType);
}

// Loads the node in pre-order: a child joins its parent (which reports it) before its
// own children are loaded. Its kind is settled before it joins, so that listeners
// never take a symbolic link to a folder for a folder. The node ends up owned by its
// parent, or, for a root, stays with the caller; null when it does not exist.
FileItem *FileItem::loadStandartInfoForPath(ItemPointer &item, const QString &path, int deep, ResourceType listedType)
{
    item->m_bIsDir = false;
    // Skipped paths behave as if absent.
    if (path.isNull() || SystemSkipList::shared().contains(path)) {
        item->m_bIsExist = false;
        return nullptr;
    }
    item->m_bIsExist = item->testExistence(path, listedType);
    if (!item->m_bIsExist)
        return nullptr;
    if (item->m_bIsDir)
        item->takeMoreCatalogInfoWithPath(path, listedType);
    FileItem *node = item.get();
    if (FileItem *parent = node->getParent()) {
        if (!parent->addChild(std::move(item)))
            return nullptr;
    }
    if (node->m_bIsDir)
        node->loadChildrenUsingPath(path, deep);
    return node;
}

// Whether something exists at the path (a dangling symbolic link included), and
// whether it is a directory once links are followed. The listing's own record of an
// entry's type answers this without a stat call, except for links and unknown types.
bool FileItem::testExistence(const QString &path, ResourceType listedType)
{
    switch (listedType) {
    case ResourceType::Regular:
    case ResourceType::Other:
        m_bIsDir = false;
        return true;
    case ResourceType::Directory:
        m_bIsDir = true;
        return true;
    case ResourceType::SymbolicLink:
    case ResourceType::Unknown:
        break;
    }
    bool isDirectory = false;
    const bool exists = FileManagerUtils::fileExistsWithoutTraversingSymbolicLinkAtPath(path, &isDirectory);
    m_bIsDir = isDirectory;
    return exists;
}

// Refines the kind of a node that exists as a directory: a symbolic link to a
// directory is no directory here. The rule that an item with two or more hard links
// is kept as a leaf holds for files only on this platform (FileAttributes).
void FileItem::takeMoreCatalogInfoWithPath(const QString &path, ResourceType listedType)
{
    const ResourceType type = listedType != ResourceType::Unknown ? listedType : FileAttributes::resourceType(path);
    if (type != ResourceType::Unknown) {
        m_bIsDir = type == ResourceType::Directory;
        m_bIsSymLink = type == ResourceType::SymbolicLink;
    }
    if (!m_bIsDir)
        return;
    // Only directories get this far, and they have no link count here: the leaf rule
    // cannot hold, so no stat is spent on it (a folder of 100,000 sub-folders moved
    // into the Trash would pay 100,000 on the main thread).
    m_bIsPackage = Workspace::isFilePackageAtPath(path);
}

// Packages are never entered.
void FileItem::loadChildrenUsingPath(const QString &path, int deep)
{
    if (!m_bIsDir || m_bIsPackage || deep == 0)
        return;
    m_arrChildren = std::make_unique<Children>();
    const auto listing = DirectoryListing::read(path);
    if (!listing)
        return;
    m_arrChildren->reserve(listing->size());
    const int childDeep = deep > 0 ? deep - 1 : deep;
    for (const DirectoryListing::Entry &entry : *listing)
        createChild(childPath(path, entry.name), childDeep, this, entry.name, entry.type);
}

bool FileItem::isHasChild(const FileItem *item) const
{
    if (!item || !m_arrChildren)
        return false;
    return m_arrChildren->find(item->m_sNameWithExt) == item;
}

FileItem *FileItem::addChild(ItemPointer item)
{
    if (!item || !m_arrChildren || isHasChild(item.get()))
        return nullptr;
    // A child of the same name is replaced, as a dictionary entry would be.
    item->m_bIsListed = m_bListedMark;
    FileItem *child = m_arrChildren->insert(std::move(item));
    if (m_pListener)
        m_pListener->onAddedFileItem(child, this);
    return child;
}

void FileItem::removeChild(FileItem *item)
{
    if (!isHasChild(item))
        return;
    const ItemPointer removed = m_arrChildren->take(item->m_sNameWithExt);
    if (m_pListener)
        m_pListener->onRemovedFileItem(removed.get(), this);
}

void FileItem::notifyThatRemovedChildWithName(const QString &name)
{
    FileItem *child = getChildrenWithName(name);
    if (child && m_pListener)
        m_pListener->onRemovedFileItem(child, this);
}

// One pass over the listing marks the children that are still there and collects
// the new names; what is left unmarked has gone. The mark is a bit whose meaning flips
// with each refresh, so it never needs clearing, and when every child was seen the
// children are not walked at all. Kept children are not read again: a refresh costs
// one listing, one lookup per name and the new entries.
void FileItem::updateContentOfDir()
{
    if (!m_bIsDir)
        return;
    if (!m_arrChildren)
        m_arrChildren = std::make_unique<Children>();
    const QString path = buildFullPath();
    const bool listed = !m_bListedMark;
    std::size_t kept = 0;
    std::vector<DirectoryListing::Entry> arrived;
    const bool read = DirectoryListing::forEachEntry(path, [&](QStringView name, ResourceType type) {
        if (FileItem *child = m_arrChildren->find(name)) {
            child->m_bIsListed = listed;
            ++kept;
        } else {
            arrived.push_back({name.toString(), type});
        }
    });
    if (!read)
        return;
    m_bListedMark = listed;

    if (kept < m_arrChildren->size()) {
        QStringList gone;
        for (const FileItem *child : *m_arrChildren) {
            if (child->m_bIsListed != listed)
                gone.append(child->m_sNameWithExt);
        }
        for (const QString &name : std::as_const(gone))
            notifyThatRemovedChildWithName(name);
        for (const QString &name : std::as_const(gone))
            m_arrChildren->take(name);
    }

    for (const DirectoryListing::Entry &entry : arrived)
        createChild(childPath(path, entry.name), m_nDeep, this, entry.name, entry.type);
}

FileItemData &FileItem::getData()
{
    if (!m_pData)
        m_pData = std::make_unique<FileItemData>(this);
    return *m_pData;
}

FileItem *FileItem::getChildrenWithName(const QString &name) const
{
    if (name.isNull() || !m_arrChildren)
        return nullptr;
    return m_arrChildren->find(name);
}

FileItem *FileItem::getParent() const
{
    return m_pListener ? m_pListener->getFileItemParent() : nullptr;
}

QString FileItem::buildFullPath()
{
    if (m_sFullPath.isNull()) {
        FileItem *parent = getParent();
        const QString parentPath = parent ? parent->buildFullPath() : QString();
        m_sFullPath = parentPath.isNull() ? m_sNameWithExt : childPath(parentPath, m_sNameWithExt);
    }
    return m_sFullPath;
}

void FileItem::onAddedFileItem(FileItem *item, FileItem *parent)
{
    if (m_pListener)
        m_pListener->onAddedFileItem(item, parent);
}

void FileItem::onRemovedFileItem(FileItem *item, FileItem *parent)
{
    if (m_pListener)
        m_pListener->onRemovedFileItem(item, parent);
}
