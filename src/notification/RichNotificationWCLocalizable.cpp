#include "RichNotificationWCLocalizable.h"

#include "LocalizedFormat.h"

#include <QCoreApplication>
#include <QLocale>

#include <algorithm>
#include <limits>

// The lookups are spelled out with literal context and keys so that lupdate can
// collect them; the "//:" lines are the comments translators see.

QString RichNotificationWCLocalizable::orDefault(const QString &translated, const char *key, const char *defaultValue)
{
    return translated == QLatin1String(key) ? QString::fromUtf8(defaultValue) : translated;
}

QString RichNotificationWCLocalizable::closeButtonTitle()
{
    //: Close button title
    return orDefault(QCoreApplication::translate("RichNotificationWCLocalizable", "CloseButtonTitle"),
                     "CloseButtonTitle", "Close");
}

QString RichNotificationWCLocalizable::completeUninstallButtonTitle()
{
    //: Complete uninstall buttonTitle
    return orDefault(QCoreApplication::translate("RichNotificationWCLocalizable", "CompleteUninstallButtonTitle"),
                     "CompleteUninstallButtonTitle", "Complete Uninstall");
}

QString RichNotificationWCLocalizable::titleWithAppName(const QString &appName)
{
    //: Title
    const QString format = orDefault(QCoreApplication::translate("RichNotificationWCLocalizable", "Title"), "Title",
                                     "%1 - Complete Uninstallation");
    return LocalizedFormat::format(format, {appName});
}

QString RichNotificationWCLocalizable::descriptionWithAppName(const QString &appName, const QString &sizeString,
                                                              qint64 numberOfOtherApps,
                                                              bool areWeSureIfAllElementsAreCalculated)
{
    const int pluralSelector = int(std::clamp<qint64>(numberOfOtherApps, 0, std::numeric_limits<int>::max()));
    //: description of the alert
    const QString format = orDefault(
        QCoreApplication::translate("RichNotificationWCLocalizable", "DescriptionOfAlert", nullptr, pluralSelector),
        "DescriptionOfAlert", "%1 - Complete Uninstallation");
    return LocalizedFormat::format(format, {appName, QString::number(numberOfOtherApps == 0 ? 1 : 0),
                                            QLocale().toString(numberOfOtherApps), sizeString,
                                            QString::number(areWeSureIfAllElementsAreCalculated ? 1 : 0)});
}
