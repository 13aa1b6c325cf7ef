#pragma once

#include <QString>
#include <QUrl>

// What is an application, and in which bundle a path lies.
class ApplicationDirectoryUtils
{
public:
    static bool isApplicationAtPath(const QString &path);
    static bool isApplicationAtURL(const QUrl &url);
    // The outermost ancestor that is an application.
    static QString parentAppPathForPath(const QString &path);
    // The outermost ancestor that is an application, a ".prefpane" or a ".kext".
    static QString parentBundlePathForPath(const QString &path);

private:
    enum class Walk { Applications, Bundles };
    static QString walkAncestors(const QString &path, Walk kind);
};
