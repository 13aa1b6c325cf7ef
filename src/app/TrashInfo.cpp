#include "TrashInfo.h"

#include "platform/PathCodec.h"

#include <QList>

namespace {

const QByteArray kGroup = "[Trash Info]";
const QByteArray kPathKey = "Path=";
// Every byte but the unreserved characters and "/" is escaped, as file managers do.
const QByteArray kKeptInPaths = "/";

} // namespace

QByteArray TrashInfo::compose(const QString &originalPath, const QDateTime &deletionDate)
{
    return kGroup + "\n" + kPathKey + PathCodec::encode(originalPath).toPercentEncoding(kKeptInPaths) +
           "\nDeletionDate=" + deletionDate.toString(QStringLiteral("yyyy-MM-dd'T'HH:mm:ss")).toLatin1() + "\n";
}

std::optional<QString> TrashInfo::originalPath(const QByteArray &text)
{
    const QList<QByteArray> lines = text.split('\n');
    qsizetype index = 0;
    while (index < lines.size() && lines.at(index).trimmed().isEmpty())
        ++index;
    if (index == lines.size() || lines.at(index).trimmed() != kGroup)
        return std::nullopt;
    for (++index; index < lines.size() && !lines.at(index).startsWith('['); ++index) {
        if (!lines.at(index).startsWith(kPathKey))
            continue;
        const QByteArray path = QByteArray::fromPercentEncoding(lines.at(index).mid(kPathKey.size()).trimmed());
        if (!path.startsWith('/') || path.contains('\0'))
            return std::nullopt;
        return PathCodec::decode(path);
    }
    return std::nullopt;
}
