#include "RemovalPolicy.h"

#include "core/ParentFolder.h"
#include "core/PathsGenerator.h"
#include "core/SharedFolderNames.h"
#include "platform/Bundle.h"
#include "platform/BundleIdentifiers.h"
#include "platform/PackageRules.h"
#include "platform/Workspace.h"
#include "platform/XdgDirectories.h"

#include <QFileInfo>

#include <algorithm>
#include <array>

namespace {

// The kinds of remains the helper lists: the application, support files, caches,
// containers, preferences, logs, cookies and crash reports.
constexpr std::array<qint32, 8> kKnownTypes{0, 3, 8, 9, 10, 11, 12, 13};

// "/" followed by names only: no empty, "." or ".." component, no NUL.
bool isPlainAbsolute(const QString &path)
{
    if (!path.startsWith(QLatin1Char('/')) || path.contains(QChar(0)))
        return false;
    const QStringList components = path.mid(1).split(QLatin1Char('/'));
    return std::none_of(components.cbegin(), components.cend(), [](const QString &c) {
        return c.isEmpty() || c == QLatin1String(".") || c == QLatin1String("..");
    });
}

// The home's own base folders, as they are without XDG variables.
QStringList homeBaseFolders(const QString &home)
{
    QStringList folders;
    for (const char *relative : {".config", ".local/share", ".cache", ".local/state"})
        folders.append(PathsGenerator::joinPath(home, QLatin1String(relative)));
    return folders;
}

// Where, inside a shared folder (the components below a base folder, the shared
// folder's name first), an application's own files lie.
bool isApplicationsOwnPlace(const QStringList &components)
{
    const QString shared = components.first().toLower();
    const qsizetype depth = components.size();
    if (shared == QLatin1String("applications") || shared == QLatin1String("autostart"))
        return depth >= 2;
    if (shared == QLatin1String("icons")) {
        const QString last = components.last().toLower();
        const QStringList &extensions = SharedFolderNames::iconExtensions();
        return depth >= 5 || (depth >= 2 && std::any_of(extensions.cbegin(), extensions.cend(),
                                                       [&](const QString &e) { return last.endsWith(e); }));
    }
    return shared == QLatin1String("mime") && depth >= 3 && components.at(1) == QLatin1String("packages");
}

bool overlaps(const QString &path, const QString &folder)
{
    return path == folder || ParentFolder::isInFolder(folder, path) || ParentFolder::isInFolder(path, folder);
}

} // namespace

RemovalPolicy::RemovalPolicy(QString home, QString trashRoot, QStringList bundles, const QStringList &xdgBaseFolders)
    : m_home(std::move(home))
    , m_trashRoot(std::move(trashRoot))
    , m_library(PathsGenerator::joinPath(m_home, QStringLiteral("Library")))
    , m_baseFolders(homeBaseFolders(m_home) + xdgBaseFolders)
    , m_bundles(std::move(bundles))
{
    m_baseFolders.removeAll(QString());
    m_baseFolders.removeDuplicates();
    m_protectedFolders = QStringList{m_trashRoot, m_library} + m_baseFolders;
    for (const char *relative : {"Applications", ".local", ".local/bin", "bin"})
        m_protectedFolders.append(PathsGenerator::joinPath(m_home, QLatin1String(relative)));
}

RemovalPolicy RemovalPolicy::forThisUser()
{
    const PathsGenerator &paths = PathsGenerator::GetInstance();
    QStringList bundles{Bundle::mainBundlePath()};
    for (const RunningApplication &helper : Workspace::runningApplications(BundleIdentifiers::helper()))
        bundles.append(helper.bundlePath);
    bundles.removeAll(QString());
    return RemovalPolicy(paths.getHomeDirectory(), QFileInfo(paths.buildTrashDirectory()).path(), bundles,
                         {XdgDirectories::configHome(), XdgDirectories::dataHome(), XdgDirectories::cacheHome(),
                          XdgDirectories::stateHome()});
}

bool RemovalPolicy::isInTrash(const QString &path) const
{
    return isPlainAbsolute(path) && ParentFolder::isInFolder(path, m_trashRoot);
}

QString RemovalPolicy::refusalFor(const QString &path) const
{
    if (!isPlainAbsolute(path))
        return QStringLiteral("not a plain absolute path");
    if (path == m_home)
        return QStringLiteral("the home folder itself");
    if (!ParentFolder::isInFolder(path, m_home))
        return QStringLiteral("outside the home folder");
    for (const QString &folder : m_protectedFolders) {
        if (path == folder || ParentFolder::isInFolder(folder, path))
            return QStringLiteral("holds %1").arg(folder);
    }
    const bool isBundle = std::any_of(m_bundles.cbegin(), m_bundles.cend(), [&](const QString &b) { return overlaps(path, b); });
    if (isBundle)
        return QStringLiteral("part of Tarnwick itself");
    if (ParentFolder::isInFolder(path, m_library) && !path.mid(m_library.size() + 1).contains(QLatin1Char('/')))
        return QStringLiteral("a folder of the Library itself");
    return sharedFolderRefusal(path);
}

QString RemovalPolicy::sharedFolderRefusal(const QString &path) const
{
    for (const QString &base : m_baseFolders) {
        if (!ParentFolder::isInFolder(path, base))
            continue;
        const QStringList components = path.mid(base.size() + 1).split(QLatin1Char('/'));
        if (SharedFolderNames::contains(components.first()) && !isApplicationsOwnPlace(components))
            return QStringLiteral("in %1, which every program shares").arg(base + QLatin1Char('/') + components.first());
    }
    return {};
}

QString RemovalPolicy::refusalFor(const PathForRemove &item) const
{
    if (std::find(kKnownTypes.cbegin(), kKnownTypes.cend(), item.type()) == kKnownTypes.cend())
        return QStringLiteral("an unknown kind of item (%1)").arg(item.type());
    if (item.type() == 0 && !PackageRules::hasApplicationExtension(item.path()))
        return QStringLiteral("not an application");
    return refusalFor(item.path());
}
