#include "PackageRules.h"

#include "FileAttributes.h"

#include <QStringList>

#include <array>

namespace {

constexpr std::array kPackageExtensions{
    "app", "bundle", "framework", "plugin", "kext", "prefpane",
    "xpc", "appex", "qlgenerator", "mdimporter", "saver", "component",
};

QString extensionOf(const QString &name)
{
    const qsizetype slash = name.lastIndexOf(QLatin1Char('/'));
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    if (dot < 0 || dot < slash || dot == name.size() - 1)
        return {};
    return name.mid(dot + 1);
}

} // namespace

bool PackageRules::hasPackageExtension(const QString &name)
{
    const QString extension = extensionOf(name);
    for (const char *candidate : kPackageExtensions) {
        if (extension.compare(QLatin1String(candidate), Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

bool PackageRules::hasApplicationExtension(const QString &name)
{
    return extensionOf(name).compare(QLatin1String("app"), Qt::CaseInsensitive) == 0;
}

bool PackageRules::isPackage(const QString &path)
{
    return hasPackageExtension(path) && FileAttributes::isDirectory(path);
}

bool PackageRules::isApplication(const QString &path)
{
    return hasApplicationExtension(path) && FileAttributes::isDirectory(path);
}
