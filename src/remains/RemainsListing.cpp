#include "RemainsListing.h"

#include "AppImageRemainsInfo.h"
#include "RemainsRecords.h"
#include "SimpleRemainsInfo.h"
#include "platform/AppImage.h"
#include "platform/Bundle.h"
#include "platform/PackageRules.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

namespace {

template <typename Info>
RemainsListing::Snapshot snapshotOf(std::shared_ptr<Info> info)
{
    return [info](quint64 *total) {
        QList<PathForRemove> records;
        info->addRemoveObjectPathsToArray(records);
        *total = info->getTotalSize();
        return records;
    };
}

} // namespace

int RemainsListing::run(const QString &applicationPath, QTextStream &out, QTextStream &err)
{
    const QString path = QDir::cleanPath(QFileInfo(applicationPath).absoluteFilePath());
    int status = 1;
    if (PackageRules::isApplication(path))
        status = listBundle(path, out);
    else if (AppImage::isAppImageFile(path))
        status = listAppImage(path, out);
    if (status != 0)
        err << "tarnwick-helper: " << applicationPath
            << " is not an application bundle with a bundle identifier nor an AppImage with a desktop entry"
            << Qt::endl;
    return status;
}

int RemainsListing::listBundle(const QString &path, QTextStream &out)
{
    const auto bundle = Bundle::bundleWithPath(path);
    if (!bundle || bundle->bundleIdentifier().isEmpty())
        return 1;
    RemainsListing listing;
    const std::shared_ptr<RemainsListing> handle(&listing, [](RemainsListing *) {});
    return print(listing, snapshotOf(SimpleRemainsInfo::initWithBundle(bundle, handle)), out);
}

int RemainsListing::listAppImage(const QString &path, QTextStream &out)
{
    RemainsListing listing;
    const std::shared_ptr<RemainsListing> handle(&listing, [](RemainsListing *) {});
    const auto info = AppImageRemainsInfo::initWithAppImage(AppImage::appImageWithPath(path), handle);
    return info ? print(listing, snapshotOf(info), out) : 1;
}

int RemainsListing::print(RemainsListing &listing, const Snapshot &snapshot, QTextStream &out)
{
    listing.m_snapshot = snapshot;
    quint64 total = 0;
    if (!RemainsRecords::isEverySizeIn(snapshot(&total)))
        listing.m_loop.exec();
    QJsonArray items;
    for (const PathForRemove &record : snapshot(&total))
        items.append(QJsonObject::fromVariantMap(record.toDictionary()));
    out << QJsonDocument(QJsonObject{{QStringLiteral("items"), items},
                                     {QStringLiteral("totalSize"), QString::number(total)}})
               .toJson(QJsonDocument::Indented);
    out.flush();
    return 0;
}

void RemainsListing::onSimpleRemainsInfoChanged(SimpleRemainsInfo *)
{
    onChanged();
}

void RemainsListing::onAppImageRemainsInfoChanged(AppImageRemainsInfo *)
{
    onChanged();
}

void RemainsListing::onChanged()
{
    quint64 total = 0;
    if (m_snapshot && RemainsRecords::isEverySizeIn(m_snapshot(&total)))
        m_loop.quit();
}
