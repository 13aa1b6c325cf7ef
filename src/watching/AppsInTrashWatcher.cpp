#include "AppsInTrashWatcher.h"

#include "AppsInTrashWatcherListener.h"
#include "DirectoryWatcher.h"
#include "WatchingLog.h"
#include "core/ApplicationDirectoryUtils.h"
#include "core/PathsGenerator.h"
#include "core/BundleExcludeList.h"
#include "platform/AppImage.h"
#include "platform/MainThread.h"
#include "platform/SerialQueue.h"
#include "platform/TrashLocation.h"

namespace {

std::optional<Bundle> refuse(const QString &path, const QString &reason)
{
    qCDebug(lcWatching).noquote() << "not reported:" << path << "-" << reason;
    return std::nullopt;
}

SerialQueue &arrivalCheckQueue()
{
    static auto *queue = new SerialQueue(QStringLiteral("AppImage arrival check"));
    return *queue;
}

} // namespace

AppsInTrashWatcher::AppsInTrashWatcher(AppsInTrashWatcherListener *listener)
    : m_pListener(listener)
    , m_pSelf(std::make_shared<AppsInTrashWatcher *>(this))
{
    startWatching();
}

AppsInTrashWatcher::~AppsInTrashWatcher() = default;

bool AppsInTrashWatcher::isWatching() const
{
    return m_pTrashWatcher && m_pTrashWatcher->isWatching();
}

void AppsInTrashWatcher::startWatching()
{
    // A watcher being replaced may be the one whose report led here: it is silenced
    // now and destroyed once it has returned.
    if (m_pTrashWatcher) {
        m_pTrashWatcher->setDelegate(nullptr);
        m_pTrashWatcher.release()->deleteLater();
    }
    // A new account has no Trash until its first deletion; one is made for it, or the
    // first application trashed would find no watch in place.
    TrashLocation::ensureFilesDirectory(PathsGenerator::GetInstance().getHomeDirectory());
    const QString trash = PathsGenerator::GetInstance().buildTrashDirectory();
    qCDebug(lcWatching).noquote() << "watching the Trash" << trash;
    m_pTrashWatcher = std::make_unique<DirectoryWatcher>(trash);
    m_pTrashWatcher->setDelegate(this);
}

void AppsInTrashWatcher::onAddedAppWithPath(const QString &path)
{
    const std::optional<Bundle> bundle = isReallyAppBundlePath(path);
    if (!bundle || !m_pListener)
        return;
    qCDebug(lcWatching).noquote() << "reported:" << path << bundle->bundleIdentifier();
    m_pListener->onAppMovedToTrash(*bundle);
}

void AppsInTrashWatcher::onAddedFileWithPath(const QString &path)
{
    arrivalCheckQueue().async([self = std::weak_ptr(m_pSelf), path] {
        if (!AppImage::isAppImageFile(path))
            return;
        MainThread::async([self, path] {
            const auto watcher = self.lock();
            if (!watcher || !(*watcher)->m_pListener)
                return;
            qCDebug(lcWatching).noquote() << "reported AppImage:" << path;
            (*watcher)->m_pListener->onAppImageMovedToTrash(path);
        });
    });
}

std::optional<Bundle> AppsInTrashWatcher::isReallyAppBundlePath(const QString &path)
{
    if (!ApplicationDirectoryUtils::isApplicationAtPath(path))
        return refuse(path, QStringLiteral("not an application"));
    if (const QString outer = ApplicationDirectoryUtils::parentBundlePathForPath(path); !outer.isNull())
        return refuse(path, QStringLiteral("it lies inside the bundle %1").arg(outer));
    std::optional<Bundle> bundle = Bundle::bundleWithPath(path);
    if (!bundle)
        return refuse(path, QStringLiteral("it cannot be opened as a bundle"));
    const QString identifier = bundle->bundleIdentifier();
    if (identifier.isNull())
        return refuse(path, QStringLiteral("it has no bundle identifier"));
    if (BundleExcludeList::GetInstance().isSystemBundleID(identifier, false))
        return refuse(path, QStringLiteral("%1 is the main application or this helper").arg(identifier));
    return bundle;
}
