#include "NotificationsManager.h"

#include "ApplicationLocator.h"
#include "MessagingLog.h"
#include "WatcherMessage.h"
#include "core/WatcherSettings.h"
#include "platform/Workspace.h"

NotificationsManager &NotificationsManager::GetInstance()
{
    static NotificationsManager instance;
    return instance;
}

// A helper inside a copy of the main application always hands off to that very copy,
// even when another copy runs; only otherwise does a running instance come first.
QString NotificationsManager::findMainApplication() const
{
    const QString main = WatcherSettings::GetInstance().getMainAppBundleID();
    const QString containing = ApplicationLocator::containingApplication(main);
    if (!containing.isNull())
        return containing;
    const QString running = ApplicationLocator::runningExecutable(main);
    return running.isNull() ? Workspace::urlForApplicationWithBundleIdentifier(main) : running;
}

// The user asked for the clean-up, so a hand-off that cannot happen is worth a warning
// (on stderr, which a login item's session keeps); nothing is shown.
void NotificationsManager::removeFilePaths(const QList<PathForRemove> &paths) const
{
    if (paths.isEmpty())
        return;
    const QString application = findMainApplication();
    if (application.isNull()) {
        qCWarning(lcMessaging).noquote() << QStringLiteral("no Tarnwick application (%1) found to remove %2 items")
                                                .arg(WatcherSettings::GetInstance().getMainAppBundleID())
                                                .arg(paths.size());
        return;
    }
    WatcherMessage message;
    message.setPathsForRemove(paths);
    const QString file = message.saveForTransmit();
    qCDebug(lcMessaging) << "handing" << paths.size() << "paths to" << application << "in" << file;
    if (!Workspace::openFile(file.isNull() ? application : file, application))
        qCWarning(lcMessaging).noquote() << QStringLiteral("Tarnwick could not be started: %1").arg(application);
}
