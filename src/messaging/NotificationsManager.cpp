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

void NotificationsManager::removeFilePaths(const QList<PathForRemove> &paths) const
{
    if (paths.isEmpty())
        return;
    const QString application = findMainApplication();
    if (application.isNull()) {
        qCDebug(lcMessaging) << "no main application for" << paths.size() << "paths";
        return;
    }
    WatcherMessage message;
    message.setPathsForRemove(paths);
    const QString file = message.saveForTransmit();
    qCDebug(lcMessaging) << "handing" << paths.size() << "paths to" << application << "in" << file;
    Workspace::openFile(file.isNull() ? application : file, application);
}
