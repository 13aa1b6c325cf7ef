#include "WatcherSettings.h"

#include "PathsGenerator.h"
#include "platform/BundleIdentifiers.h"
#include "platform/LoginItems.h"

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
    return LoginItems::setEnabled(PathsGenerator::GetInstance().getHomeDirectory(), getHelperAppBundleID(),
                                  QCoreApplication::applicationFilePath(), enable);
}
