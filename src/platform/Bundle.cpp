#include "Bundle.h"

#include "FileAttributes.h"
#include "PackageRules.h"
#include "PropertyList.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <mutex>

namespace {

std::mutex g_mainLock;
QString g_mainBundlePath;

// The information dictionary a read property list gives: only a dictionary counts.
QVariantMap infoDictionaryOf(const std::optional<QVariant> &value)
{
    return value && value->metaType().id() == QMetaType::QVariantMap ? value->toMap() : QVariantMap();
}

QVariantMap readInfoDictionary(const QString &bundlePath)
{
    for (const char *relative : {"Contents/Info.plist", "Info.plist"}) {
        const QString candidate = bundlePath + QLatin1Char('/') + QLatin1String(relative);
        if (!FileAttributes::exists(candidate))
            continue;
        return infoDictionaryOf(PropertyList::fromFile(candidate));
    }
    return {};
}

QString bundleOfExecutable(const QString &executable)
{
    const QString folder = QFileInfo(executable).absolutePath();
    // Walk up from the executable to the nearest ".app" that holds it.
    QString candidate = folder;
    while (!candidate.isEmpty() && candidate != QLatin1String("/")) {
        if (PackageRules::hasApplicationExtension(candidate))
            return candidate;
        candidate = QFileInfo(candidate).path();
    }
    return folder;
}

} // namespace

Bundle::Bundle(QString path, QVariantMap info)
    : m_sPath(std::move(path))
    , m_info(std::move(info))
{
}

std::optional<Bundle> Bundle::bundleWithPath(const QString &path)
{
    if (path.isEmpty() || !FileAttributes::isDirectory(path))
        return std::nullopt;
    return Bundle(path, readInfoDictionary(path));
}

Bundle Bundle::bundleWithInfoData(const QString &path, const QByteArray &infoPlist)
{
    return Bundle(path, infoDictionaryOf(PropertyList::fromData(infoPlist)));
}

QString Bundle::mainBundlePath()
{
    std::lock_guard guard(g_mainLock);
    if (g_mainBundlePath.isNull() && QCoreApplication::instance())
        g_mainBundlePath = bundleOfExecutable(QCoreApplication::applicationFilePath());
    return g_mainBundlePath;
}

std::optional<Bundle> Bundle::mainBundle()
{
    return bundleWithPath(mainBundlePath());
}

void Bundle::setMainBundlePath(const QString &path)
{
    std::lock_guard guard(g_mainLock);
    g_mainBundlePath = path;
}

QString Bundle::stringForKey(const QString &key) const
{
    const QVariant value = m_info.value(key);
    return value.metaType().id() == QMetaType::QString ? value.toString() : QString();
}

QString Bundle::bundleIdentifier() const
{
    return stringForKey(QStringLiteral("CFBundleIdentifier"));
}

QString Bundle::executableName() const
{
    return stringForKey(QStringLiteral("CFBundleExecutable"));
}

QString Bundle::executablePath() const
{
    const QString name = executableName();
    // A name that is not a plain file name would point outside the bundle.
    if (name.isEmpty() || name.contains(QLatin1Char('/')) || name == QLatin1String("..") || name == QLatin1String("."))
        return {};
    return m_sPath + QStringLiteral("/Contents/MacOS/") + name;
}
