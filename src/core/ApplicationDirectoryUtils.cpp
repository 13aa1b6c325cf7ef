#include "ApplicationDirectoryUtils.h"

#include "MacOSVersion.h"
#include "StringExtra.h"
#include "platform/FileAttributes.h"
#include "platform/PackageRules.h"

#include <QStringList>

namespace {

// The components of a path, the first being "/" for an absolute path.
QStringList pathComponents(const QString &path)
{
    QStringList components = path.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    if (path.startsWith(QLatin1Char('/')))
        components.prepend(QStringLiteral("/"));
    return components;
}

QString appendComponent(const QString &candidate, const QString &component)
{
    return candidate.endsWith(QLatin1Char('/')) ? candidate + component : candidate + QLatin1Char('/') + component;
}

} // namespace

// Either way an application's name ends in ".app": every other path is answered
// before any URL is made or any file is read (a Trash refresh asks this of every
// entry that arrives, a hundred thousand of them when such a folder is moved in).
bool ApplicationDirectoryUtils::isApplicationAtPath(const QString &path)
{
    return PackageRules::hasApplicationExtension(path) && isApplicationAtURL(QUrl::fromLocalFile(path));
}

bool ApplicationDirectoryUtils::isApplicationAtURL(const QUrl &url)
{
    if (url.isEmpty() || !url.isLocalFile())
        return false;
    const QString path = url.toLocalFile();
    // Like the platform's is-application value, the test is on the item itself: a
    // symbolic link named like an application is not one, wherever it leads.
    if (!PackageRules::hasApplicationExtension(path) || FileAttributes::isSymbolicLink(path))
        return false;
    if (MacOSVersion::GetInstance().is_10_11_orHigher())
        return PackageRules::isApplication(path);
    return PackageRules::isPackage(path) && path.endsWith(QLatin1String(".app"));
}

QString ApplicationDirectoryUtils::parentAppPathForPath(const QString &path)
{
    return walkAncestors(path, Walk::Applications);
}

QString ApplicationDirectoryUtils::parentBundlePathForPath(const QString &path)
{
    return walkAncestors(path, Walk::Bundles);
}

// Tests the ancestors from the root down to, but not including, the path's immediate
// parent; the first (outermost) hit wins. Neither the path nor its parent is tested,
// so an application lying directly in another application's folder still counts as
// top-level.
QString ApplicationDirectoryUtils::walkAncestors(const QString &path, Walk kind)
{
    const QStringList components = pathComponents(path);
    const qsizetype count = components.size();
    if (count - 1 < 2)
        return {};
    QString candidate = components.first();
    for (qsizetype index = 1;;) {
        if (isApplicationAtPath(candidate))
            return candidate;
        if (kind == Walk::Bundles && (StringExtra::hasCaseInsensitiveSuffix(candidate, QStringLiteral(".prefpane")) ||
                                      StringExtra::hasCaseInsensitiveSuffix(candidate, QStringLiteral(".kext"))))
            return candidate;
        candidate = appendComponent(candidate, components.at(index));
        ++index;
        if (index >= count - 1)
            return {};
    }
}
