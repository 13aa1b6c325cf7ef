#include "WatcherMessage.h"

#include "MessageFiles.h"
#include "MessagingLog.h"
#include "platform/FileAttributes.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QStringDecoder>

#include <atomic>

namespace {

const QString kItemsKey = QStringLiteral("items");
const QString kSuffix = QStringLiteral(".trfortw");

std::atomic<quint64> g_nameCounter{0};

bool isUtf8(const QByteArray &bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8);
    [[maybe_unused]] const QString text = decoder.decode(bytes);
    return !decoder.hasError();
}

} // namespace

QString WatcherMessage::getProtocolName2()
{
    return QStringLiteral("---=== Tarnwick Watcher Message v2 ===---");
}

QJsonObject WatcherMessage::toJson() const
{
    QJsonArray items;
    for (const PathForRemove &path : m_arrObjs)
        items.append(QJsonObject::fromVariantMap(path.toDictionary()));
    return QJsonObject{{kItemsKey, items}};
}

QString WatcherMessage::saveForTransmit() const
{
    const QString folder = MessageFiles::folder();
    if (folder.isNull())
        return {};
    const QByteArray text = getProtocolName2().toUtf8() + '\n' + QJsonDocument(toJson()).toJson(QJsonDocument::Compact);
    return MessageFiles::writeNewUniqueFile(folder, kSuffix, g_nameCounter, text);
}

bool WatcherMessage::loadFromPath(const QString &path)
{
    if (!FileAttributes::existsNoFollow(path))
        return false;
    const auto bytes = MessageFiles::readFile(path);
    auto paths = bytes ? fromData(*bytes) : std::nullopt;
    if (!paths)
        return false;
    m_arrObjs = std::move(*paths);
    QFile::remove(path);
    return true;
}

std::optional<QList<PathForRemove>> WatcherMessage::fromData(const QByteArray &bytes)
{
    const QByteArray header = getProtocolName2().toUtf8() + '\n';
    if (!isUtf8(bytes) || !bytes.startsWith(header))
        return std::nullopt;
    const QJsonDocument document = QJsonDocument::fromJson(bytes.sliced(header.size()));
    if (!document.isObject())
        return std::nullopt;
    QList<PathForRemove> paths;
    const QJsonValue items = document.object().value(kItemsKey);
    for (const QJsonValue &item : items.toArray()) {
        if (auto path = PathForRemove::initFromDictionary(item.toVariant()))
            paths.append(std::move(*path));
    }
    qCDebug(lcMessaging) << "watcher message with" << items.toArray().size() << "items," << paths.size() << "valid";
    return paths.isEmpty() ? std::nullopt : std::optional<QList<PathForRemove>>(std::move(paths));
}

QString WatcherMessage::createUniqueFileNameInFolder(const QString &folder, const QString &suffix)
{
    return MessageFiles::uniqueFileName(folder, suffix, g_nameCounter);
}

QString WatcherMessage::getRandomString()
{
    return MessageFiles::randomString(g_nameCounter);
}
