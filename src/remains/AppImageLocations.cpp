#include "AppImageLocations.h"

#include "core/PathsGenerator.h"
#include "platform/XdgDirectories.h"

#include <mutex>

namespace {

std::mutex g_lock;
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
    std::lock_guard guard(g_lock);
    return g_systemFolder.isEmpty() ? QStringLiteral("/opt") : g_systemFolder;
}

void AppImageLocations::setSystemFolder(const QString &folder)
{
    std::lock_guard guard(g_lock);
    g_systemFolder = folder;
}
