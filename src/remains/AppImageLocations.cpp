#include "AppImageLocations.h"

#include "core/PathsGenerator.h"
#include "platform/XdgDirectories.h"

namespace {

QString g_systemFolder;

} // namespace

AppImageLocations AppImageLocations::current()
{
    const PathsGenerator &paths = PathsGenerator::GetInstance();
    const QString home = paths.getHomeDirectory();
    return AppImageLocations{
        XdgDirectories::configHome(),
        XdgDirectories::dataHome(),
        XdgDirectories::cacheHome(),
        XdgDirectories::stateHome(),
        XdgDirectories::dataDirs(),
        {paths.buildUserApplicationsDirectory(), PathsGenerator::joinPath(home, QStringLiteral(".local/bin")),
         PathsGenerator::joinPath(home, QStringLiteral("bin")), systemFolder()},
    };
}

QString AppImageLocations::systemFolder()
{
    return g_systemFolder.isEmpty() ? QStringLiteral("/opt") : g_systemFolder;
}

void AppImageLocations::setSystemFolder(const QString &folder)
{
    g_systemFolder = folder;
}
