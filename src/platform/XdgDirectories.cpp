#include "XdgDirectories.h"

#include "UserDatabase.h"

#include <QDir>

namespace {

bool isAbsolute(const QString &path)
{
    return path.startsWith(QLatin1Char('/'));
}

} // namespace

QString XdgDirectories::resolve(const QString &home, const QString &relativeToHome, const QString &environmentValue,
                                bool homeOverridden)
{
    if (!homeOverridden && isAbsolute(environmentValue))
        return QDir::cleanPath(environmentValue);
    return home.isEmpty() ? QString() : QDir::cleanPath(home + QLatin1Char('/') + relativeToHome);
}

QString XdgDirectories::homeFolder(const char *variable, const char *relativeToHome)
{
    return resolve(UserDatabase::homeDirectory(), QLatin1String(relativeToHome), qEnvironmentVariable(variable),
                   !UserDatabase::homeOverride().isNull());
}

QString XdgDirectories::dataHomeFor(const QString &home)
{
    return resolve(home, QStringLiteral(".local/share"), qEnvironmentVariable("XDG_DATA_HOME"),
                   !UserDatabase::homeOverride().isNull());
}

QString XdgDirectories::configHome()
{
    return homeFolder("XDG_CONFIG_HOME", ".config");
}

QString XdgDirectories::dataHome()
{
    return homeFolder("XDG_DATA_HOME", ".local/share");
}

QString XdgDirectories::cacheHome()
{
    return homeFolder("XDG_CACHE_HOME", ".cache");
}

QString XdgDirectories::stateHome()
{
    return homeFolder("XDG_STATE_HOME", ".local/state");
}

QStringList XdgDirectories::dataDirs()
{
    QStringList folders;
    const QStringList set = qEnvironmentVariable("XDG_DATA_DIRS").split(QLatin1Char(':'), Qt::SkipEmptyParts);
    for (const QString &folder : set) {
        if (isAbsolute(folder) && !folders.contains(QDir::cleanPath(folder)))
            folders << QDir::cleanPath(folder);
    }
    if (folders.isEmpty())
        folders = QStringList{QStringLiteral("/usr/local/share"), QStringLiteral("/usr/share")};
    return folders;
}
