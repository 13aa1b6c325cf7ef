#include "TestSandbox.h"

#include "platform/Bundle.h"
#include "platform/BundleIdentifiers.h"
#include "platform/Delays.h"
#include "platform/PropertyList.h"
#include "platform/TrashLocation.h"
#include "platform/UserDatabase.h"
#include "platform/Workspace.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

TestSandbox::TestSandbox()
{
    m_home = m_root.filePath(QStringLiteral("home"));
    m_runtime = m_root.filePath(QStringLiteral("runtime"));
    QDir().mkpath(m_home);
    QDir().mkpath(m_runtime);
    QFile::setPermissions(m_runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(m_runtime));
    UserDatabase::setHomeOverride(m_home);
    Workspace::setSystemApplicationsFolder(m_root.filePath(QStringLiteral("Applications")));
    Delays::setTestDivisor(kDelayDivisor);

    m_helperBundle = makeApp(m_root.filePath(QStringLiteral("install/Tarnwick Helper.app")), BundleIdentifiers::helper(),
                             QStringLiteral("tarnwick-helper"));
    Bundle::setMainBundlePath(m_helperBundle);
}

QString TestSandbox::systemApplications() const
{
    return Workspace::systemApplicationsFolder();
}

QString TestSandbox::trash() const
{
    return TrashLocation::ensureFilesDirectory(m_home);
}

QString TestSandbox::path(const QString &relative) const
{
    return m_home + QLatin1Char('/') + relative;
}

QString TestSandbox::makeApp(const QString &path, const QString &identifier, const QString &executable)
{
    QVariantMap info;
    if (!identifier.isNull())
        info.insert(QStringLiteral("CFBundleIdentifier"), identifier);
    if (!executable.isNull())
        info.insert(QStringLiteral("CFBundleExecutable"), executable);
    QDir().mkpath(path + QStringLiteral("/Contents/MacOS"));
    QFile plist(path + QStringLiteral("/Contents/Info.plist"));
    if (plist.open(QIODevice::WriteOnly))
        plist.write(PropertyList::toData(info, PropertyList::Format::Xml));
    return path;
}

QString TestSandbox::makeFile(const QString &path, qint64 size)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(QByteArray(size, 'x'));
    return path;
}
