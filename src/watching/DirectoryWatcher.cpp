#include "DirectoryWatcher.h"

#include "DirectoryWatcherDelegate.h"
#include "FileItem.h"
#include "VDKQueue.h"
#include "WatchingLog.h"
#include "core/ParentFolder.h"
#include "platform/Delays.h"
#include "platform/KernelEventQueue.h"
#include "platform/MainThread.h"

#include <QFileInfo>

#include <chrono>
#include <utility>
#include <vector>

namespace {

// The tree keeps the watched directory's entries and their immediate contents, so
// that a folder moved in is reported together with what lies directly in it.
constexpr int kTreeDepth = 1;

// A folder above the directory is watched for its entries (one of them leads to the
// directory, and may be renamed or deleted) and for its own rename or deletion.
constexpr quint32 kPlaceEvents =
    KernelEventQueue::NoteWrite | KernelEventQueue::NoteRename | KernelEventQueue::NoteDelete;

// The tree is read through the path with a final "/", which makes the kernel follow a
// final symbolic link: the tree of a linked directory is that of its target, while
// its entries keep their paths below the link.
QString treePathOf(const QString &path)
{
    return path.endsWith(QLatin1Char('/')) ? path : path + QLatin1Char('/');
}

// The folders from the path's parent up to the root.
void appendFoldersAbove(const QString &path, QStringList &folders)
{
    for (QString folder = path, parent = QFileInfo(path).path(); parent != folder;
         folder = parent, parent = QFileInfo(folder).path())
        folders.append(parent);
}

} // namespace

// The delegate is set after the first tree is built, so what the directory holds at
// start is never reported.
DirectoryWatcher::DirectoryWatcher(const QString &path)
    : m_sPath(path)
    , m_identity(FileAttributes::directoryIdentity(path))
    , m_pPathTree(FileItem::createTreeForPath(treePathOf(path), kTreeDepth))
    , m_refreshTimer([this] { updateDirContent(); })
    , m_retryTimer([this] { startWatching(); })
    , m_search([this](const QStringList &applications) {
        for (const QString &application : applications)
            notifyDelegateThatAddedAppWithPath(application);
    })
{
    if (m_pPathTree)
        m_pPathTree->setListener(this);
    m_refreshTimer.setCeiling(Delays::scaled(Delays::kTrashDebounceCeiling));
    startWatching();
}

DirectoryWatcher::~DirectoryWatcher() = default;

// Every watch is made anew: the folders above may no longer be the ones watched
// before. When the directory is missing, the nearest folder above it that exists is
// what tells of its return, so failing to watch that one is a refusal as well.
bool DirectoryWatcher::startWatching()
{
    m_retryTimer.cancel();
    m_bIsWatching = false;
    if (!m_pVDKQueue) {
        m_pVDKQueue = ::VDKQueue::init();
        if (!m_pVDKQueue)
            return refused();
        m_pVDKQueue->setDelegate(this);
    }
    m_pVDKQueue->removeAllPaths();
    const bool nearestWatched = watchFoldersAbove();
    const std::optional<Identity> identity = FileAttributes::directoryIdentity(m_sPath);
    if (identity) {
        m_pVDKQueue->addPath(m_sPath);
        m_bIsWatching = m_pVDKQueue->isPathWatched(m_sPath);
    }
    if (identity ? !m_bIsWatching : !nearestWatched)
        return refused();
    if (std::exchange(m_bRefused, false))
        qCWarning(lcWatching).noquote() << "Watching" << m_sPath << "again";
    if (identity)
        settleInPlace(*identity);
    else
        m_refreshTimer.cancel();
    return m_bIsWatching;
}

// Answers whether the nearest existing folder above the directory is watched.
bool DirectoryWatcher::watchFoldersAbove()
{
    bool nearestWatched = false;
    bool nearest = true;
    for (const QString &folder : foldersAbove()) {
        if (!FileAttributes::isDirectory(folder))
            continue;
        m_pVDKQueue->addPath(folder, kPlaceEvents);
        if (std::exchange(nearest, false))
            nearestWatched = m_pVDKQueue->isPathWatched(folder);
    }
    return nearestWatched;
}

// Above the path, and above where it leads when it is (or passes through) a link.
QStringList DirectoryWatcher::foldersAbove() const
{
    QStringList folders;
    appendFoldersAbove(m_sPath, folders);
    if (const QString target = QFileInfo(m_sPath).canonicalFilePath(); !target.isEmpty() && target != m_sPath)
        appendFoldersAbove(target, folders);
    folders.removeDuplicates();
    return folders;
}

// inotify limits are per user: another program may free them at any time.
bool DirectoryWatcher::refused()
{
    if (!std::exchange(m_bRefused, true)) {
        const auto retry = std::chrono::duration_cast<std::chrono::seconds>(Delays::scaled(Delays::kWatchRetry));
        qCWarning(lcWatching).noquote() << "Cannot watch" << m_sPath
                                        << QStringLiteral("- trying again every %1 s")
                                               .arg(retry.count());
    }
    m_retryTimer.restart(Delays::scaled(Delays::kWatchRetry));
    return false;
}

// A directory other than the one the tree describes holds nothing known: all of it
// is new. Either way it is read soon, as what arrived before the watch took hold
// raised no event.
void DirectoryWatcher::settleInPlace(const Identity &identity)
{
    if (identity != m_identity) {
        if (!m_pPathTree) {
            m_pPathTree = FileItem::createTreeForPath(treePathOf(m_sPath), kTreeDepth);
            if (m_pPathTree)
                m_pPathTree->setListener(this);
        }
        forgetContents();
        m_identity = identity;
    }
    m_refreshTimer.restart(Delays::scaled(Delays::kTrashDebounce));
}

// The directory may have left its place, or another may have taken it.
void DirectoryWatcher::checkPlace()
{
    const std::optional<Identity> identity = FileAttributes::directoryIdentity(m_sPath);
    if (m_bIsWatching && identity && identity == m_identity)
        return;
    startWatching();
}

// Whatever changed inside, the directory is read once it has been quiet for a while:
// a burst of events (a large move, a file manager writing its trash info) makes one
// refresh. A change above it, or its own rename, may mean that it left its place.
// Deletion and unmounting end the kernel's watch: the directory is watched anew, and
// what a deleted one held is forgotten.
void DirectoryWatcher::VDKQueue(::VDKQueue *, const QString &notificationName, const QString &path)
{
    qCDebug(lcWatching).noquote() << "change" << notificationName << "at" << path;
    if (path != m_sPath || notificationName == VDKQueueFileRenamedNotification) {
        checkPlace();
        return;
    }
    if (notificationName == VDKQueueFileDeletedNotification || notificationName == VDKQueueAccessWasRevokedNotification) {
        if (notificationName == VDKQueueFileDeletedNotification) {
            forgetContents();
            m_identity.reset();
        }
        startWatching();
        return;
    }
    m_refreshTimer.restart(Delays::scaled(Delays::kTrashDebounce));
}

// A directory found missing or replaced here (its own events were lost) is followed
// as well.
void DirectoryWatcher::updateDirContent()
{
    FileItem *root = getFileItemWithPath(m_sPath);
    if (!root)
        return;
    const std::optional<Identity> identity = FileAttributes::directoryIdentity(m_sPath);
    if (!identity || identity != m_identity) {
        checkPlace();
        return;
    }
    qCDebug(lcWatching).noquote() << "refresh of" << m_sPath;
    root->updateContentOfDir();
}

void DirectoryWatcher::forgetContents()
{
    const FileItem::Children *children = m_pPathTree ? m_pPathTree->getChildren() : nullptr;
    if (!children)
        return;
    const std::vector<FileItem *> gone(children->begin(), children->end());
    for (FileItem *child : gone)
        m_pPathTree->removeChild(child);
}

// The test is made a second time before a folder is searched, so that an application
// whose bundle was completed meanwhile is still reported directly. The folders of one
// refresh are searched together, each with what it holds.
// A file is reported only at the top of the directory, where an AppImage trashed on
// its own lands.
void DirectoryWatcher::onAddedFileItem(FileItem *item, FileItem *parent)
{
    const bool atTop = parent == m_pPathTree.get();
    if (!item->isDir()) {
        if (atTop && !item->isSymLink() && m_pDelegate)
            m_pDelegate->onAddedFileWithPath(item->buildFullPath());
        return;
    }
    if (notifyIsFileItemIsApp(item) || notifyIsFileItemIsApp(item) || !atTop)
        return;
    if (m_arrivedFolders.isEmpty()) {
        MainThread::after(Delays::scaled(Delays::kFolderSearch), this,
                          [this] { m_search.search(std::exchange(m_arrivedFolders, {})); });
    }
    m_arrivedFolders.append(item->buildFullPath());
}

void DirectoryWatcher::onRemovedFileItem(FileItem *item, FileItem *)
{
    qCDebug(lcWatching).noquote() << item->getNameWithExt() << "left" << m_sPath << "- removals are not reported";
}

FileItem *DirectoryWatcher::getFileItemWithPath(const QString &path) const
{
    if (!m_pPathTree)
        return nullptr;
    if (path == m_sPath)
        return m_pPathTree.get();
    if (!ParentFolder::isInFolder(path, m_sPath))
        return nullptr;
    FileItem *node = m_pPathTree.get();
    const QStringList names = path.mid(m_sPath.size() + 1).split(QLatin1Char('/'));
    for (const QString &name : names) {
        node = node->getChildrenWithName(name);
        if (!node)
            return nullptr;
    }
    return node;
}

bool DirectoryWatcher::notifyIsFileItemIsApp(FileItem *item)
{
    if (!item || !item->isDir() || !FolderSearch::isApplicationOfItsOwn(item->buildFullPath()))
        return false;
    notifyDelegateThatAddedAppWithPath(item->buildFullPath());
    return true;
}

void DirectoryWatcher::notifyDelegateThatAddedAppWithPath(const QString &path)
{
    qCDebug(lcWatching).noquote() << "application arrived:" << path;
    if (m_pDelegate)
        m_pDelegate->onAddedAppWithPath(path);
}

void DirectoryWatcher::checkFolderForAppsWithPath(const QString &path)
{
    m_search.search({path});
}
