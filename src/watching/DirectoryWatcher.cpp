#include "DirectoryWatcher.h"

#include "DirectoryWatcherDelegate.h"
#include "FileItem.h"
#include "VDKQueue.h"
#include "WatchingLog.h"
#include "core/ApplicationDirectoryUtils.h"
#include "core/ParentFolder.h"
#include "platform/Delays.h"
#include "platform/FileAttributes.h"
#include "platform/MainThread.h"

#include <QFileInfo>
#include <QStringList>

#include <utility>
#include <vector>

namespace {

// The tree keeps the watched directory's entries and their immediate contents, so
// that a folder moved in is reported together with what lies directly in it.
constexpr int kTreeDepth = 1;

// The closest folder above the path that exists ("/" at worst).
QString nearestExistingAncestor(const QString &path)
{
    QString ancestor = QFileInfo(path).path();
    while (!FileAttributes::isDirectory(ancestor) && ancestor != QFileInfo(ancestor).path())
        ancestor = QFileInfo(ancestor).path();
    return ancestor;
}

bool leavesItsPlace(const QString &notificationName)
{
    return notificationName == VDKQueueFileDeletedNotification || notificationName == VDKQueueFileRenamedNotification;
}

} // namespace

// The delegate is set after the first tree is built, so what the directory holds at
// start is never reported.
DirectoryWatcher::DirectoryWatcher(const QString &path)
    : m_sPath(path)
    , m_pPathTree(FileItem::createTreeForPath(path, kTreeDepth))
    , m_refreshTimer([this] { updateDirContent(); })
{
    if (m_pPathTree)
        m_pPathTree->setListener(this);
    else
        qCDebug(lcWatching).noquote() << "cannot watch" << path << "- it does not exist";
    m_bIsWatching = startWatching();
}

DirectoryWatcher::~DirectoryWatcher() = default;

bool DirectoryWatcher::startWatching()
{
    m_pVDKQueue = ::VDKQueue::init();
    if (m_pVDKQueue) {
        m_pVDKQueue->setDelegate(this);
        m_pVDKQueue->addPath(m_sPath);
    }
    return true;
}

// Whatever changed, the directory is read once it has been quiet for a while: a burst
// of events (a large move, a file manager writing its trash info) makes one refresh.
// While the directory is away, only its followed ancestor is heard; what the old
// directory still reports is dropped.
void DirectoryWatcher::VDKQueue(::VDKQueue *, const QString &notificationName, const QString &path)
{
    qCDebug(lcWatching).noquote() << "change" << notificationName << "at" << path;
    if (!m_sFollowedAncestor.isNull()) {
        if (path == m_sFollowedAncestor)
            followReappearance(leavesItsPlace(notificationName));
        return;
    }
    if (path == m_sPath && leavesItsPlace(notificationName)) {
        onDirectoryGone(notificationName == VDKQueueFileDeletedNotification);
        return;
    }
    m_refreshTimer.restart(Delays::scaled(Delays::kTrashDebounce));
}

// A directory found missing here (its own events were lost) is followed as well.
void DirectoryWatcher::updateDirContent()
{
    qCDebug(lcWatching).noquote() << "refresh of" << m_sPath;
    FileItem *root = getFileItemWithPath(m_sPath);
    if (!root)
        return;
    if (!FileAttributes::isDirectory(m_sPath)) {
        if (m_sFollowedAncestor.isNull())
            onDirectoryGone(false);
        return;
    }
    root->updateContentOfDir();
}

// A deleted directory took its entries with it, so they are forgotten: anything of the
// same name in the next directory is new. A directory renamed away keeps them, as it
// may come back with them.
void DirectoryWatcher::onDirectoryGone(bool deleted)
{
    qCDebug(lcWatching).noquote() << m_sPath << (deleted ? "was deleted" : "left its place")
                                  << "- watching for its return";
    m_refreshTimer.cancel();
    if (deleted)
        forgetContents();
    if (m_pVDKQueue)
        m_pVDKQueue->removePath(m_sPath);
    followReappearance(true);
}

// Watches the nearest existing folder above the directory, moving down as folders
// are made again. Each watch is followed by a fresh look, as what was created before
// the watch took hold raised no event.
void DirectoryWatcher::followReappearance(bool rewatch)
{
    if (!m_pVDKQueue)
        return;
    while (!FileAttributes::isDirectory(m_sPath)) {
        const QString nearest = nearestExistingAncestor(m_sPath);
        if (nearest == m_sFollowedAncestor && !rewatch)
            return;
        if (!m_sFollowedAncestor.isNull())
            m_pVDKQueue->removePath(m_sFollowedAncestor);
        m_sFollowedAncestor = nearest;
        m_pVDKQueue->addPath(nearest);
        rewatch = false;
        qCDebug(lcWatching).noquote() << "waiting in" << nearest << "for" << m_sPath;
    }
    resumeWatching();
}

void DirectoryWatcher::resumeWatching()
{
    if (!m_sFollowedAncestor.isNull())
        m_pVDKQueue->removePath(std::exchange(m_sFollowedAncestor, QString()));
    qCDebug(lcWatching).noquote() << m_sPath << "is back; watching it again";
    m_pVDKQueue->addPath(m_sPath);
    m_refreshTimer.restart(Delays::scaled(Delays::kTrashDebounce));
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
// whose bundle was completed meanwhile is still reported directly.
void DirectoryWatcher::onAddedFileItem(FileItem *item, FileItem *)
{
    if (notifyIsFileItemIsApp(item))
        return;
    if (!item->isDir()) {
        qCDebug(lcWatching).noquote() << item->buildFullPath() << "arrived; neither an application nor a folder";
        return;
    }
    if (notifyIsFileItemIsApp(item))
        return;
    const QString path = item->buildFullPath();
    qCDebug(lcWatching).noquote() << "folder" << path << "arrived; searching it for applications in"
                                  << Delays::scaled(Delays::kFolderSearch).count() << "ms";
    MainThread::after(Delays::scaled(Delays::kFolderSearch), this, [this, path] { checkFolderForAppsWithPath(path); });
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
    if (!item || !item->isDir())
        return false;
    const QString path = item->buildFullPath();
    if (!ApplicationDirectoryUtils::isApplicationAtPath(path))
        return false;
    if (const QString outer = ApplicationDirectoryUtils::parentBundlePathForPath(path); !outer.isNull()) {
        qCDebug(lcWatching).noquote() << path << "lies inside the bundle" << outer << "- not reported";
        return false;
    }
    notifyDelegateThatAddedAppWithPath(path);
    return true;
}

void DirectoryWatcher::notifyDelegateThatAddedAppWithPath(const QString &path)
{
    qCDebug(lcWatching).noquote() << "application arrived:" << path;
    if (m_pDelegate)
        m_pDelegate->onAddedAppWithPath(path);
}

// Breadth first over a fresh tree of the folder (the tree never enters packages);
// an application found is reported and not searched further.
void DirectoryWatcher::checkFolderForAppsWithPath(const QString &path)
{
    const auto root = FileItem::createTreeForPath(path);
    if (!root) {
        qCDebug(lcWatching).noquote() << "folder" << path << "is gone; nothing to search";
        return;
    }
    qCDebug(lcWatching).noquote() << "searching folder" << path << "for applications";
    std::vector<FileItem *> level{root.get()};
    while (!level.empty()) {
        std::vector<FileItem *> next;
        for (FileItem *node : level) {
            if (const FileItem::Children *children = node->getChildren()) {
                for (FileItem *child : *children) {
                    if (child->isDir() && !notifyIsFileItemIsApp(child))
                        next.push_back(child);
                }
            }
        }
        level = std::move(next);
    }
}
