#include "FileManagerUtils.h"

#include "PathsGenerator.h"
#include "platform/FileAttributes.h"
#include "platform/TemporaryDirectory.h"

#include <QDir>
#include <QRandomGenerator>

namespace {

constexpr int kFirstTempNameLength = 10;

} // namespace

// PathsGenerator computes the folder once; it is not created here.
QString FileManagerUtils::getTrashPath()
{
    const QString folder = PathsGenerator::GetInstance().buildTrashDirectory();
    return folder.isEmpty() ? QString() : folder + QLatin1Char('/');
}

bool FileManagerUtils::isFileLocked(const QString &path)
{
    return FileAttributes::isImmutable(path);
}

bool FileManagerUtils::isFileInTrash(const QString &path)
{
    if (path.isNull())
        return false;
    const QString trash = getTrashPath();
    return !trash.isEmpty() && path.startsWith(trash);
}

QString FileManagerUtils::getTempFilePathWithExt(const QString &extension)
{
    QString folder = TemporaryDirectory::path();
    if (folder.isEmpty())
        folder = QStringLiteral("/tmp");
    // Each collision makes the next name one character longer.
    for (int length = kFirstTempNameLength;; ++length) {
        QString name = randomStringWithLength(length);
        if (!extension.isEmpty())
            name += QLatin1Char('.') + extension;
        const QString candidate = PathsGenerator::joinPath(folder, name);
        if (!fileExistsWithoutTraversingSymbolicLinkAtPath(candidate))
            return candidate;
    }
}

QString FileManagerUtils::getTempFilePathWithFileName(const QString &fileName)
{
    const QString folder = getTempFilePathWithExt();
    QDir().mkpath(folder);
    return PathsGenerator::joinPath(folder, fileName);
}

QString FileManagerUtils::randomStringWithLength(int length)
{
    return randomStringWithLength(length, QStringLiteral("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"));
}

QString FileManagerUtils::randomStringWithLength(int length, const QString &alphabet)
{
    QString result;
    if (length <= 0 || alphabet.isEmpty())
        return QStringLiteral("");
    result.reserve(length);
    auto *random = QRandomGenerator::system();
    for (int i = 0; i < length; ++i)
        result += alphabet.at(random->bounded(static_cast<quint32>(alphabet.size())));
    return result;
}

bool FileManagerUtils::fileExistsWithoutTraversingSymbolicLinkAtPath(const QString &path)
{
    return !path.isEmpty() && (FileAttributes::exists(path) || isFileAtPathSymbolicLink(path));
}

bool FileManagerUtils::fileExistsWithoutTraversingSymbolicLinkAtPath(const QString &path, bool *isDirectory)
{
    if (!isDirectory)
        return fileExistsWithoutTraversingSymbolicLinkAtPath(path);
    *isDirectory = false;
    if (path.isEmpty())
        return false;
    if (FileAttributes::exists(path)) {
        *isDirectory = FileAttributes::isDirectory(path);
        return true;
    }
    return isFileAtPathSymbolicLink(path);
}

bool FileManagerUtils::isFileAtPathSymbolicLink(const QString &path)
{
    return FileAttributes::isSymbolicLink(path);
}
