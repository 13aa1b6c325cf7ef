#include "RemovalRecord.h"

#include "core/PathsGenerator.h"
#include "platform/BundleIdentifiers.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace {

constexpr qint64 kMaxRecordSize = 64 * 1024 * 1024;

QJsonObject toJson(const TrashedItem &item)
{
    return {{QStringLiteral("path"), item.originalPath},
            {QStringLiteral("trashName"), item.trashName},
            {QStringLiteral("size"), QString::number(item.size)}};
}

TrashedItem fromJson(const QJsonObject &object)
{
    return {object.value(QStringLiteral("path")).toString(), object.value(QStringLiteral("trashName")).toString(),
            object.value(QStringLiteral("size")).toString().toULongLong()};
}

} // namespace

QString RemovalRecord::path()
{
    // <data home>/Trash/files, two levels up.
    const QString dataHome = QFileInfo(QFileInfo(PathsGenerator::GetInstance().buildTrashDirectory()).path()).path();
    return dataHome + QLatin1Char('/') + BundleIdentifiers::mainApp() + QStringLiteral("/last-removal.json");
}

bool RemovalRecord::save(const Removal &removal)
{
    if (removal.moved.isEmpty())
        return !QFileInfo::exists(path()) || QFile::remove(path());
    QJsonArray items;
    for (const TrashedItem &item : removal.moved)
        items.append(toJson(item));
    const QJsonObject record{{QStringLiteral("names"), removal.names}, {QStringLiteral("items"), items}};
    if (!QDir().mkpath(QFileInfo(path()).path()))
        return false;
    QSaveFile file(path());
    return file.open(QIODevice::WriteOnly) && file.write(QJsonDocument(record).toJson()) >= 0 && file.commit();
}

std::optional<Removal> RemovalRecord::load()
{
    QFile file(path());
    if (!file.open(QIODevice::ReadOnly) || file.size() > kMaxRecordSize)
        return std::nullopt;
    const QJsonObject record = QJsonDocument::fromJson(file.readAll()).object();
    Removal removal{record.value(QStringLiteral("names")).toString(), {}, {}};
    for (const QJsonValue &item : record.value(QStringLiteral("items")).toArray())
        removal.moved.append(fromJson(item.toObject()));
    if (removal.moved.isEmpty())
        return std::nullopt;
    return removal;
}
