#include "FileItem.h"

#include "FileItemData.h"
#include "core/FileManagerUtils.h"
#include "platform/DirectoryListing.h"
#include "platform/Workspace.h"
#include "remains/SystemSkipList.h"

#include <QHashFunctions>
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

size_t FileItem::NameHash::operator()(QStringView name) const noexcept
{
    return qHash(name);
}

size_t FileItem::NameHash::operator()(const ItemPointer &item) const noexcept
{
    return qHash(QStringView(item->m_sNameWithExt));
}

bool FileItem::NameEqual::operator()(const ItemPointer &a, const ItemPointer &b) const noexcept
{
    return a->m_sNameWithExt == b->m_sNameWithExt;
}

bool FileItem::NameEqual::operator()(QStringView name, const ItemPointer &item) const noexcept
{
    return name == item->m_sNameWithExt;
}

bool FileItem::NameEqual::operator()(const ItemPointer &item, QStringView name) const noexcept
{
    return name == item->m_sNameWithExt;
}

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
    return createChild(path, deep, parent, name, ResourceType::Unknown);
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
// own children are loaded. The node ends up owned by its parent, or, for a root, stays
// with the caller; null when it does not exist.
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
    FileItem *node = item.get();
    if (FileItem *parent = node->getParent()) {
        if (!parent->addChild(std::move(item)))
            return nullptr;
    }
    if (node->m_bIsDir) {
        node->takeMoreCatalogInfoWithPath(path, listedType);
        if (node->m_bIsDir)
            node->loadChildrenUsingPath(path, deep);
    }
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
// directory is no directory here, and an item with two or more hard links is kept as
// a leaf. Directories have no link count on this platform (FileAttributes), so the
// second rule holds for files only.
void FileItem::takeMoreCatalogInfoWithPath(const QString &path, ResourceType listedType)
{
    const ResourceType type = listedType != ResourceType::Unknown ? listedType : FileAttributes::resourceType(path);
    if (type != ResourceType::Unknown) {
        m_bIsDir = type == ResourceType::Directory;
        m_bIsSymLink = type == ResourceType::SymbolicLink;
    }
    if (!m_bIsDir)
        return;
    if (const auto links = FileAttributes::linkCount(path); links && *links >= 2)
        m_bIsDir = false;
    else
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
    const auto found = m_arrChildren->find(QStringView(item->m_sNameWithExt));
    return found != m_arrChildren->end() && found->get() == item;
}

FileItem *FileItem::addChild(ItemPointer item)
{
    if (!item || !m_arrChildren || isHasChild(item.get()))
        return nullptr;
    // A child of the same name is replaced, as a dictionary entry would be.
    takeChild(item->m_sNameWithExt);
    FileItem *child = m_arrChildren->insert(std::move(item)).first->get();
    if (m_pListener)
        m_pListener->onAddedFileItem(child, this);
    return child;
}

void FileItem::removeChild(FileItem *item)
{
    if (!isHasChild(item))
        return;
    const ItemPointer removed = takeChild(item->m_sNameWithExt);
    if (m_pListener)
        m_pListener->onRemovedFileItem(removed.get(), this);
}

void FileItem::notifyThatRemovedChildWithName(const QString &name)
{
    FileItem *child = getChildrenWithName(name);
    if (child && m_pListener)
        m_pListener->onRemovedFileItem(child, this);
}

FileItem::ItemPointer FileItem::takeChild(QStringView name)
{
    if (!m_arrChildren)
        return nullptr;
    const auto found = m_arrChildren->find(name);
    if (found == m_arrChildren->end())
        return nullptr;
    return std::move(m_arrChildren->extract(found).value());
}

// One pass over the listing marks the children that are still there and collects
// the new names; what is left unmarked has gone. Kept children are not read again,
// so a refresh costs one listing plus the new entries.
void FileItem::updateContentOfDir()
{
    if (!m_bIsDir)
        return;
    const QString path = buildFullPath();
    const auto listing = DirectoryListing::read(path);
    if (!listing)
        return;
    if (!m_arrChildren)
        m_arrChildren = std::make_unique<Children>();

    std::vector<const DirectoryListing::Entry *> arrived;
    for (const DirectoryListing::Entry &entry : *listing) {
        const auto found = m_arrChildren->find(QStringView(entry.name));
        if (found != m_arrChildren->end())
            (*found)->m_bIsListed = true;
        else
            arrived.push_back(&entry);
    }

    QStringList gone;
    for (const ItemPointer &child : *m_arrChildren) {
        if (!child->m_bIsListed)
            gone.append(child->m_sNameWithExt);
    }
    for (const QString &name : std::as_const(gone))
        notifyThatRemovedChildWithName(name);
    for (const QString &name : std::as_const(gone))
        takeChild(name);
    for (const ItemPointer &child : *m_arrChildren)
        child->m_bIsListed = false;

    for (const DirectoryListing::Entry *entry : arrived)
        createChild(childPath(path, entry->name), m_nDeep, this, entry->name, entry->type);
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
    const auto found = m_arrChildren->find(QStringView(name));
    return found != m_arrChildren->end() ? found->get() : nullptr;
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
