#include "AppDelegate.h"

#include "NameExcluder.h"
#include "UpdateRestarter.h"
#include "core/PathsGenerator.h"
#include "core/StringFileManager.h"
#include "messaging/FileMessage.h"
#include "notification/RichNotificationWC.h"
#include "platform/Bundle.h"
#include "platform/Delays.h"
#include "platform/FileAttributes.h"
#include "platform/MainThread.h"
#include "watching/AppsInTrashWatcher.h"

#include <QFileInfo>

#include <set>

AppDelegate::AppDelegate() = default;

AppDelegate::~AppDelegate() = default;

void AppDelegate::applicationDidFinishLaunching()
{
    setExcluders({});
    m_pRichNotificationWC = RichNotificationWC::create();
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
    Excluders grown = excluders();
    for (const QString &excluded : paths)
        grown.push_back(std::make_shared<NameExcluder>(StringFileManager::getDisplayNameWithoutExtension(excluded)));
    setExcluders(std::move(grown));
}

// A clear command drops, a while later, only the exclusions that exist now: the main
// application may already be excluding the next removal meanwhile.
void AppDelegate::scheduleExcludersPruning()
{
    // Excluders are compared by identity; the snapshot also keeps them alive, so that
    // no new excluder can take the address of a dropped one meanwhile.
    const Excluders current = excluders();
    auto snapshot = std::make_shared<std::set<std::shared_ptr<NameExcluder>>>(current.cbegin(), current.cend());
    MainThread::after(Delays::scaled(Delays::kClearExclusions), this, [this, snapshot] {
        Excluders kept;
        for (const auto &excluder : excluders()) {
            if (snapshot->erase(excluder) == 0)
                kept.push_back(excluder);
        }
        setExcluders(std::move(kept));
    });
}

void AppDelegate::onAppMovedToTrash(const Bundle &bundle)
{
    // A helper whose own bundle has gone (updated or removed) offers nothing more.
    const QString ownBundle = Bundle::mainBundlePath();
    if (ownBundle.isEmpty() || !FileAttributes::exists(ownBundle))
        return;
    if (isExcluded(bundle.bundlePath()))
        return;
    m_pRichNotificationWC->showNotificationForApp(bundle);
}

// The test is on the path relative to the Trash, newest exclusion first: an
// application in a sub-folder of the Trash does not match its bare name.
bool AppDelegate::isExcluded(const QString &bundlePath) const
{
    const QString trashPrefix = PathsGenerator::GetInstance().buildTrashDirectory() + QLatin1Char('/');
    if (!bundlePath.startsWith(trashPrefix))
        return false;
    const QString relative = bundlePath.mid(trashPrefix.size());
    const Excluders current = excluders();
    for (auto it = current.crbegin(); it != current.crend(); ++it) {
        if ((*it)->isExcludedName(relative))
            return true;
    }
    return false;
}
