#include "XdgDataHome.h"

#include "UserDatabase.h"

#include <QDir>

QString XdgDataHome::forHome(const QString &home)
{
    return resolve(home, qEnvironmentVariable("XDG_DATA_HOME"), !UserDatabase::homeOverride().isNull());
}

// The base directory specification says a relative value is invalid and is ignored.
QString XdgDataHome::resolve(const QString &home, const QString &environmentValue, bool homeOverridden)
{
    if (!homeOverridden && QDir::isAbsolutePath(environmentValue))
        return QDir::cleanPath(environmentValue);
    if (home.isEmpty())
        return {};
    return QDir::cleanPath(home + QStringLiteral("/.local/share"));
}
