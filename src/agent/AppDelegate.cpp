#include "AppDelegate.h"

#include "PresenterLink.h"
#include "UpdateRestarter.h"
#include "core/PathsGenerator.h"
#include "core/StringFileManager.h"
#include "messaging/FileMessage.h"
#include "platform/Bundle.h"
#include "platform/Delays.h"
#include "platform/FileAttributes.h"
#include "platform/MainThread.h"
#include "watching/AppsInTrashWatcher.h"

#include <QFileInfo>

AppDelegate::AppDelegate() = default;

AppDelegate::~AppDelegate() = default;

void AppDelegate::applicationDidFinishLaunching()
{
    m_excluders.clear();
    m_pPresenter = std::make_unique<PresenterLink>();
    UpdateRestarter::GetInstance();
    startWatching();
}

void AppDelegate::applicationWillTerminate()
{
}

void AppDelegate::startWatching()
{
    m_pTrashWatcher.reset();
    m_pTrashWatcher = std::make_unique<AppsInTrashWatcher>(this);
}

bool AppDelegate::application(QObject *, const QString &openFile)
{
    processOpenFileWithPath(openFile);
    return true;
}

AppDelegate::OpenReply AppDelegate::application(QObject *, const QVariantList &openFiles)
{
    for (const QVariant &file : openFiles) {
        if (file.metaType().id() == QMetaType::QString)
            processOpenFileWithPath(file.toString());
    }
    return OpenReply::Success;
}

void AppDelegate::processOpenFileWithPath(const QString &path)
{
    // Only the main application's command files are read; anything else stays put.
    if (QFileInfo(path).suffix() != commandFileExtension())
        return;
    const std::optional<FileMessage> message = FileMessage::loadFromFile(path);
    if (FileMessage::ReadCancelExcludeRemovedPathsFromMessage(message)) {
        scheduleExcludersPruning();
        return;
    }
    QStringList paths;
    if (!FileMessage::ReadExcludePaths(&paths, message) || paths.isEmpty())
        return;
    for (const QString &excluded : paths)
        m_excluders.append(StringFileManager::getDisplayNameWithoutExtension(excluded));
}

// A clear command drops, a while later, only the exclusions that exist now: the main
// application may already be excluding the next removal meanwhile.
void AppDelegate::scheduleExcludersPruning()
{
    const ExcluderList::Generation existing = m_excluders.newestGeneration();
    MainThread::after(Delays::scaled(Delays::kClearExclusions), this,
                      [this, existing] { m_excluders.dropThrough(existing); });
}

void AppDelegate::onAppMovedToTrash(const Bundle &bundle)
{
    if (isOffered(bundle.bundlePath()))
        showNotificationForApp(bundle);
}

void AppDelegate::onAppImageMovedToTrash(const QString &path)
{
    if (isOffered(path))
        showNotificationForAppImage(path);
}

void AppDelegate::showNotificationForApp(const Bundle &bundle)
{
    m_pPresenter->present(PresenterLink::Kind::Bundle, bundle.bundlePath());
}

void AppDelegate::showNotificationForAppImage(const QString &path)
{
    m_pPresenter->present(PresenterLink::Kind::AppImage, path);
}

// A helper whose own bundle has gone (updated or removed) offers nothing more; nor
// is anything offered for what the main application is moving to the Trash itself.
bool AppDelegate::isOffered(const QString &path) const
{
    const QString ownBundle = Bundle::mainBundlePath();
    if (ownBundle.isEmpty() || !FileAttributes::exists(ownBundle))
        return false;
    return !isExcluded(path);
}

// The test is on the path relative to the Trash, newest exclusion first: an
// application in a sub-folder of the Trash does not match its bare name.
bool AppDelegate::isExcluded(const QString &bundlePath) const
{
    const QString trashPrefix = PathsGenerator::GetInstance().buildTrashDirectory() + QLatin1Char('/');
    if (!bundlePath.startsWith(trashPrefix))
        return false;
    return m_excluders.excludes(bundlePath.mid(trashPrefix.size()));
}
