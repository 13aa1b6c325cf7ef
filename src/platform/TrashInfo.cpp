#include "TrashInfo.h"

#include "BoundedFile.h"
#include "KeyFile.h"
#include "PathCodec.h"

#include <QDir>
#include <QFileInfo>

QString TrashInfo::originalPathOf(const QString &trashedPath)
{
    const QFileInfo trashed(QDir::cleanPath(trashedPath));
    const QDir files = trashed.dir();
    if (files.dirName() != QLatin1String("files") || trashed.fileName().isEmpty())
        return {};
    const QString trash = QFileInfo(files.absolutePath()).path();
    const QString info = trash + QStringLiteral("/info/") + trashed.fileName() + QStringLiteral(".trashinfo");
    const auto data = BoundedFile::read(info, KeyFile::kMaxSize);
    return data ? originalPathFrom(*data, QFileInfo(trash).path()) : QString();
}

QString TrashInfo::originalPathFrom(const QByteArray &trashInfo, const QString &topDirectory)
{
    const auto keys = KeyFile::group(trashInfo, u"Trash Info");
    const QString encoded = keys ? keys->value(QStringLiteral("Path")) : QString();
    if (encoded.isEmpty())
        return {};
    const QByteArray bytes = QByteArray::fromPercentEncoding(encoded.toUtf8());
    if (bytes.contains('\0'))
        return {};
    QString path = PathCodec::decode(bytes);
    if (!path.startsWith(QLatin1Char('/')))
        path = topDirectory + QLatin1Char('/') + path;
    path = QDir::cleanPath(path);
    return path.startsWith(QLatin1Char('/')) && !path.startsWith(QLatin1String("/..")) ? path : QString();
}
