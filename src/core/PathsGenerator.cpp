#include "PathsGenerator.h"

#include "ParentFolder.h"
#include "WatcherSettings.h"
#include "platform/TrashLocation.h"
#include "platform/UserDatabase.h"
#include "platform/XdgDirectories.h"

#include <QDir>

PathsGenerator &PathsGenerator::GetInstance()
{
    static PathsGenerator instance;
    return instance;
}

PathsGenerator::PathsGenerator()
    : m_sUserName(findUserName())
    , m_sHomeDirectory(findHomeDirectory())
{
    m_sUserApplicationDirectory = joinPath(m_sHomeDirectory, QStringLiteral("/Applications"));
    m_sUserTrashDirectory = TrashLocation::filesDirectory(m_sHomeDirectory);
    m_sUserDownloadsDirectory = joinPath(m_sHomeDirectory, QStringLiteral("Downloads"));
    m_sUserLibraryDirectory = joinPath(m_sHomeDirectory, QStringLiteral("Library"));
    m_sUserApplicationSupportDirectory = joinPath(m_sUserLibraryDirectory, QStringLiteral("Application Support"));
    m_sUserPreferencePanesDirectory = joinPath(m_sUserLibraryDirectory, QStringLiteral("PreferencePanes"));
}

QString PathsGenerator::findUserName()
{
    return UserDatabase::userName();
}

QString PathsGenerator::findHomeDirectory()
{
    const QString home = UserDatabase::homeDirectory();
    return home.isEmpty() ? joinPath(QStringLiteral("/Users"), UserDatabase::userName()) : home;
}

QString PathsGenerator::joinPath(const QString &base, const QString &component)
{
    if (base.isEmpty())
        return component;
    QString joined = base;
    while (joined.size() > 1 && joined.endsWith(QLatin1Char('/')))
        joined.chop(1);
    qsizetype start = 0;
    while (start < component.size() && component.at(start) == QLatin1Char('/'))
        ++start;
    if (start == component.size())
        return joined;
    if (!joined.endsWith(QLatin1Char('/')))
        joined += QLatin1Char('/');
    return joined + component.mid(start);
}

bool PathsGenerator::pathInTrash(const QString &path) const
{
    return !path.isNull() && ParentFolder::isInFolder(path, m_sUserTrashDirectory);
}

QString PathsGenerator::buildApplicationFolderPathInApplicationSupport() const
{
    const QString dataHome = XdgDirectories::dataHomeFor(m_sHomeDirectory);
    if (dataHome.isEmpty())
        return {};
    return joinPath(dataHome, WatcherSettings::GetInstance().getHelperAppBundleID());
}

QString PathsGenerator::buildFolderInApplicationSupportWithName(const QString &name) const
{
    const QString base = buildApplicationFolderPathInApplicationSupport();
    if (base.isNull())
        return {};
    const QString folder = joinPath(base, name);
    QDir().mkpath(folder);
    return folder;
}

QString PathsGenerator::expandTildeInPath(const QString &path) const
{
    if (!path.startsWith(QLatin1String("~/")))
        return path;
    return joinPath(m_sHomeDirectory, path.mid(2));
}
