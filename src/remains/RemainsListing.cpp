#include "RemainsListing.h"

#include "SimpleRemainsInfo.h"
#include "platform/Bundle.h"
#include "platform/PackageRules.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

int RemainsListing::run(const QString &applicationPath, QTextStream &out, QTextStream &err)
{
    const QString bundlePath = QDir::cleanPath(QFileInfo(applicationPath).absoluteFilePath());
    const auto bundle = PackageRules::isApplication(bundlePath) ? Bundle::bundleWithPath(bundlePath) : std::nullopt;
    if (!bundle || bundle->bundleIdentifier().isEmpty()) {
        err << "tarnwick-helper: " << applicationPath << " is not an application bundle with a bundle identifier"
            << Qt::endl;
        return 1;
    }
    const auto listing = std::make_shared<RemainsListing>();
    const auto info = SimpleRemainsInfo::initWithBundle(bundle, listing);
    if (!isEverySizeIn(*info))
        listing->m_loop.exec();
    out << QJsonDocument(listingOf(*info)).toJson(QJsonDocument::Indented);
    out.flush();
    return 0;
}

void RemainsListing::onSimpleRemainsInfoChanged(SimpleRemainsInfo *info)
{
    if (info && isEverySizeIn(*info))
        m_loop.quit();
}

bool RemainsListing::isEverySizeIn(const SimpleRemainsInfo &info)
{
    QList<PathForRemove> records;
    info.addRemoveObjectPathsToArray(records);
    return std::all_of(records.cbegin(), records.cend(), [](const PathForRemove &record) { return record.isSizeCalculated(); });
}

QJsonObject RemainsListing::listingOf(const SimpleRemainsInfo &info)
{
    QList<PathForRemove> records;
    info.addRemoveObjectPathsToArray(records);
    QJsonArray items;
    for (const PathForRemove &record : std::as_const(records))
        items.append(QJsonObject::fromVariantMap(record.toDictionary()));
    return QJsonObject{{QStringLiteral("items"), items},
                       {QStringLiteral("totalSize"), QString::number(info.getTotalSize())}};
}
