#include "UserDefaults.h"

#include "BundleIdentifiers.h"

#include <QSettings>

namespace {

QSettings settings()
{
    return QSettings(QStringLiteral("corbelle"), BundleIdentifiers::helper());
}

} // namespace

QVariant UserDefaults::objectForKey(const QString &key)
{
    return settings().value(key);
}

bool UserDefaults::boolForKey(const QString &key)
{
    return objectForKey(key).toBool();
}
