#include "TrashLocation.h"

#include "FileAttributes.h"
#include "XdgDirectories.h"

#include <QDir>
#include <QFile>

namespace {

constexpr QFile::Permissions kPrivate = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;

QString trashRoot(const QString &home)
{
    const QString dataHome = XdgDirectories::dataHomeFor(home);
    return dataHome.isEmpty() ? QString() : QDir(dataHome).filePath(QStringLiteral("Trash"));
}

bool ensureFolder(const QString &path)
{
    if (FileAttributes::isDirectory(path))
        return true;
    // Parents get the usual permissions; the Trash's own folders are private.
    if (!QDir().mkpath(path))
        return false;
    QFile::setPermissions(path, kPrivate);
    return true;
}

} // namespace

QString TrashLocation::filesDirectory(const QString &home)
{
    const QString root = trashRoot(home);
    return root.isEmpty() ? QString() : root + QStringLiteral("/files");
}

QString TrashLocation::ensureFilesDirectory(const QString &home)
{
    const QString root = trashRoot(home);
    if (root.isEmpty())
        return {};
    const bool rootExisted = FileAttributes::isDirectory(root);
    if (!ensureFolder(root + QStringLiteral("/files")) || !ensureFolder(root + QStringLiteral("/info")))
        return {};
    if (!rootExisted)
        QFile::setPermissions(root, kPrivate);
    return filesDirectory(home);
}
