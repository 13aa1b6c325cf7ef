#include "ParentFolder.h"

#include "ApplicationDirectoryUtils.h"

bool ParentFolder::isInFolder(const QString &path, const QString &folder)
{
    return !folder.isEmpty() && path.size() > folder.size() && path.startsWith(folder) &&
           path.at(folder.size()) == QLatin1Char('/');
}

QString ParentFolder::parentBundlePath(const QString &path)
{
    return ApplicationDirectoryUtils::parentBundlePathForPath(path);
}
