#pragma once

#include <QString>

// What counts as a package (a directory shown as one item) and as an application.
// Both are directories recognised by their extension, ignoring case.
class PackageRules
{
public:
    static bool isPackage(const QString &path);
    static bool isApplication(const QString &path);
    static bool hasPackageExtension(const QString &name);
    static bool hasApplicationExtension(const QString &name);
};
