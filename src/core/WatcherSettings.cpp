#include "WatcherSettings.h"

#include "PathsGenerator.h"
#include "platform/BundleIdentifiers.h"
#include "platform/LoginItems.h"
#include "platform/UserDatabase.h"

#include <QCoreApplication>

WatcherSettings &WatcherSettings::GetInstance()
{
    static WatcherSettings instance;
    return instance;
}

QString WatcherSettings::getMainAppBundleID() const
{
    return BundleIdentifiers::mainApp();
}

QString WatcherSettings::getHelperAppBundleID() const
{
    return BundleIdentifiers::helper();
}

bool WatcherSettings::enableHelperInLoginItems(bool enable) const
{
    const QString configFolder =
        LoginItems::configFolder(PathsGenerator::GetInstance().getHomeDirectory(), !UserDatabase::homeOverride().isNull(),
                                 qEnvironmentVariable("XDG_CONFIG_HOME"));
    return LoginItems::setEnabled(configFolder, getHelperAppBundleID(), QCoreApplication::applicationFilePath(), enable);
}
