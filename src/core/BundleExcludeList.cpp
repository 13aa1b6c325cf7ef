#include "BundleExcludeList.h"

#include "WatcherSettings.h"
#include "platform/UserDefaults.h"

BundleExcludeList &BundleExcludeList::GetInstance()
{
    static BundleExcludeList instance;
    return instance;
}

BundleExcludeList::BundleExcludeList()
{
    const WatcherSettings &settings = WatcherSettings::GetInstance();
    m_pExcludeAppsList.insert(settings.getMainAppBundleID().toLower());
    m_pExcludeAppsList.insert(settings.getHelperAppBundleID().toLower());
}

bool BundleExcludeList::isSystemBundleID(const QString &bundleID) const
{
    return isSystemBundleID(bundleID, true);
}

bool BundleExcludeList::isSystemBundleID(const QString &bundleID, bool checkPreferences) const
{
    if (bundleID.isNull())
        return false;
    if (m_pExcludeAppsList.contains(bundleID.toLower()))
        return true;
    if (checkPreferences) {
        // The preference neither adds nor removes protection; it is only consulted.
        [[maybe_unused]] const bool unsafeMode = UserDefaults::boolForKey(QStringLiteral("unsafeUninstallMode"));
    }
    return false;
}
