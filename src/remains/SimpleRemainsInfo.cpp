#include "SimpleRemainsInfo.h"

#include "RemainsLogging.h"
#include "SimpleRemainsInfoListener.h"
#include "SimpleSizeCalculationTask.h"
#include "SpotlightEasySearch.h"
#include "core/FileManagerUtils.h"
#include "core/MacOSVersion.h"
#include "core/ParentFolder.h"
#include "core/PathsGenerator.h"
#include "core/StringExtra.h"
#include "platform/DirectoryListing.h"
#include "platform/MetadataIndexQuery.h"
#include "platform/Workspace.h"

#include <QDir>
#include <QFileInfo>

namespace {

enum class Name { Identifier, Executable };

// One name probed in a Library folder.
struct Probe
{
    const char *folder;
    Name name;
    const char *extension; // appended as plain text; none when null
    qint32 type;
};

// One Library folder whose entries are matched by name prefix and suffix.
struct FolderScan
{
    const char *folder;
    Name prefix;
    const char *suffix;
    qint32 type;
};

// The search, in this order: the order of the records is the order of the probes.
constexpr Probe kProbes[] = {
    {"Library/Caches", Name::Identifier, nullptr, SimpleRemainsInfo::kCaches},
    {"Library/Saved Application State", Name::Identifier, ".savedState", SimpleRemainsInfo::kCaches},
    {"Library/Preferences", Name::Identifier, ".plist", SimpleRemainsInfo::kPreferences},
    {"Library/Preferences", Name::Executable, nullptr, SimpleRemainsInfo::kPreferences},
    {"Library/Logs", Name::Executable, ".log", SimpleRemainsInfo::kLogs},
    {"Library/Cookies", Name::Identifier, ".cookies", SimpleRemainsInfo::kCookies},
    {"Library/Containers", Name::Identifier, nullptr, SimpleRemainsInfo::kContainer},
    {"Library/Application Support/Caches/com.apple.helpd/Generated", Name::Identifier, ".help",
     SimpleRemainsInfo::kApplicationSupportFiles},
    {"Library/Application Support/Caches/com.apple.helpd/SDMHelpData/Other/English/HelpSDMIndexFile", Name::Identifier,
     ".help", SimpleRemainsInfo::kApplicationSupportFiles},
    {"Library/Application Support/Growl/Tickets", Name::Executable, ".growlTicket",
     SimpleRemainsInfo::kApplicationSupportFiles},
    {"Library/Application Support", Name::Executable, nullptr, SimpleRemainsInfo::kApplicationSupportFiles},
};

constexpr FolderScan kFolderScans[] = {
    {"Library/LaunchAgents", Name::Identifier, ".plist", SimpleRemainsInfo::kApplicationSupportFiles},
    {"Library/Application Support/CrashReporter", Name::Executable, ".plist", SimpleRemainsInfo::kCrashReports},
};

QString textOf(const char *text)
{
    return text ? QString::fromUtf8(text) : QString();
}

// A prefix test as the original string class makes it: an empty prefix matches nothing.
bool hasPrefix(const QString &text, const QString &prefix)
{
    return !prefix.isEmpty() && text.startsWith(prefix);
}

bool hasSuffix(const QString &text, const QString &suffix)
{
    return !suffix.isEmpty() && text.endsWith(suffix);
}

bool existsNoFollow(const QString &path)
{
    return FileManagerUtils::fileExistsWithoutTraversingSymbolicLinkAtPath(path);
}

// What the workspace knows as installed copies: one path on systems before 10.10, all
// of them from then on.
QStringList installedCopies(const QString &bundleId)
{
    if (MacOSVersion::GetInstance().is_10_10_orHigher())
        return Workspace::installedApplications(bundleId);
    const QString one = Workspace::urlForApplicationWithBundleIdentifier(bundleId);
    return one.isEmpty() ? QStringList() : QStringList{one};
}

// The workspace's answer is judged by the folder test (a "/" must follow the folder).
bool isInstalledCopyPresent(const QString &bundleId, const QString &systemApps, const QString &userApps)
{
    const QStringList copies = installedCopies(bundleId);
    return std::any_of(copies.cbegin(), copies.cend(), [&](const QString &path) {
        return (ParentFolder::isInFolder(path, systemApps) || ParentFolder::isInFolder(path, userApps)) &&
               existsNoFollow(path);
    });
}

// The index results are judged by a plain prefix test, deliberately unlike the folder
// test above, and only when something still exists at the path (the index may be stale).
bool isCopyAmongResults(const MetadataIndexQuery &query, const QString &systemApps, const QString &userApps)
{
    const QList<MetadataIndexQuery::Item> results = query.results();
    return std::any_of(results.cbegin(), results.cend(), [&](const MetadataIndexQuery::Item &item) {
        const QString path = StringExtra::asString(item.value(MetadataIndexQuery::kItemPathKey));
        return !path.isNull() && existsNoFollow(path) && (hasPrefix(path, systemApps) || hasPrefix(path, userApps));
    });
}

} // namespace

std::shared_ptr<SimpleRemainsInfo> SimpleRemainsInfo::initWithBundle(const std::optional<Bundle> &bundle,
                                                                     std::weak_ptr<SimpleRemainsInfoListener> listener)
{
    if (!bundle)
        return nullptr;
    std::shared_ptr<SimpleRemainsInfo> info(new SimpleRemainsInfo(*bundle, std::move(listener)));
    info->addBundle(bundle);
    info->findRemains();
    for (const PathForRemove &record : std::as_const(info->m_arrRemainsObjectPaths))
        info->addSizeOfPath(record.path());
    return info;
}

SimpleRemainsInfo::SimpleRemainsInfo(const Bundle &bundle, std::weak_ptr<SimpleRemainsInfoListener> listener)
    : m_pListener(std::move(listener))
    , m_sBundleID(bundle.bundleIdentifier())
    , m_sBundleName(bundle.executableName())
{
    // Without an executable name, the bundle folder's name without its extension.
    if (m_sBundleName.isEmpty())
        m_sBundleName = QFileInfo(bundle.bundlePath()).completeBaseName();
}

void SimpleRemainsInfo::addBundle(const std::optional<Bundle> &bundle)
{
    if (!bundle || m_sBundleID.isNull() || bundle->bundleIdentifier() != m_sBundleID)
        return;
    const QString path = bundle->bundlePath();
    if (path.isNull())
        return;
    if (const auto record = PathForRemove::initWithPath(path, kApplicationBundle, m_sBundleID))
        m_arrAppObjectPaths.append(*record);
    addSizeOfPath(path);
}

void SimpleRemainsInfo::findRemains()
{
    _homePath = PathsGenerator::GetInstance().getHomeDirectory();
    const auto nameOf = [this](Name name) { return name == Name::Identifier ? m_sBundleID : m_sBundleName; };
    for (const Probe &probe : kProbes)
        addFileWithSubPath(textOf(probe.folder), nameOf(probe.name), textOf(probe.extension), probe.type);
    for (const FolderScan &scan : kFolderScans)
        addPathInSubFolder(textOf(scan.folder), nameOf(scan.prefix), textOf(scan.suffix), m_arrRemainsObjectPaths,
                           scan.type);
    qCDebug(lcRemains) << "remains of" << m_sBundleID << ":" << m_arrRemainsObjectPaths.size();
}

void SimpleRemainsInfo::addFileWithSubPath(const QString &subPath, const QString &name, const QString &ext, qint32 type)
{
    if (subPath.isNull() || name.isNull() || _homePath.isNull() || name.isEmpty())
        return;
    const QString fileName = ext.isNull() ? name : name + ext;
    const QString folder = PathsGenerator::joinPath(_homePath, subPath);
    const QString path = createSafeToDeletePathInFolder(folder, fileName);
    if (!path.isNull())
        addPath(path, m_arrRemainsObjectPaths, type);
}

QString SimpleRemainsInfo::createSafeToDeletePathInFolder(const QString &folder, const QString &fileName)
{
    if (folder.isNull() || fileName.isNull())
        return {};
    QString joined = PathsGenerator::joinPath(folder, fileName);
    if (joined.startsWith(QLatin1Char('~')))
        joined = PathsGenerator::GetInstance().expandTildeInPath(joined);
    // "." and ".." are resolved by the text alone: a name with "../" in it must not
    // lead out of the folder, whatever lies on the disk.
    const QString standardized = QDir::cleanPath(joined);
    return ParentFolder::isInFolder(standardized, folder) ? standardized : QString();
}

void SimpleRemainsInfo::addPath(const QString &path, QList<PathForRemove> &array, qint32 type)
{
    // A symbolic link counts even when its target is gone.
    if (!existsNoFollow(path))
        return;
    if (const auto record = PathForRemove::initWithPath(path, type, m_sBundleID))
        array.append(*record);
}

void SimpleRemainsInfo::addPathInSubFolder(const QString &folder, const QString &prefix, const QString &suffix,
                                           QList<PathForRemove> &array, qint32 type)
{
    if (folder.isNull() || _homePath.isNull() || folder.isEmpty())
        return;
    const QString path = PathsGenerator::joinPath(_homePath, folder);
    if (!existsNoFollow(path))
        return;
    for (const QString &name : DirectoryListing::names(path)) {
        if (!hasPrefix(name, prefix) || !hasSuffix(name, suffix))
            continue;
        if (const auto record = PathForRemove::initWithPath(PathsGenerator::joinPath(path, name), type, m_sBundleID))
            array.append(*record);
    }
}

void SimpleRemainsInfo::addSizeOfPath(const QString &path)
{
    queueSizeOfPath(path, shared_from_this());
}

void SimpleRemainsInfo::onSimpleSizeCalculationTaskComplete(const std::shared_ptr<SimpleSizeCalculationTask> &task)
{
    if (!task)
        return;
    setSizeOfRecord(task->itemPath(), task->itemSize());
    updateSize(task->itemSize());
}

// Each measured path gives its record its size (the first record of that path still
// without one: the same bundle path may have been added twice).
void SimpleRemainsInfo::setSizeOfRecord(const QString &path, quint64 size)
{
    for (QList<PathForRemove> *array : {&m_arrAppObjectPaths, &m_arrRemainsObjectPaths}) {
        for (PathForRemove &record : *array) {
            if (record.path() == path && !record.isSizeCalculated()) {
                record.setSize(size);
                return;
            }
        }
    }
}

void SimpleRemainsInfo::updateSize(quint64 size)
{
    m_nTotalSize += size;
    if (const auto listener = m_pListener.lock())
        listener->onSimpleRemainsInfoChanged(this);
}

void SimpleRemainsInfo::addRemoveObjectPathsToArray(QList<PathForRemove> &array) const
{
    array.append(m_arrAppObjectPaths);
    array.append(m_arrRemainsObjectPaths);
}

void SimpleRemainsInfo::calculateIsCanShowNotificationForBundleWithID(const QString &bundleId,
                                                                      std::function<void()> okBlock)
{
    if (bundleId.isNull())
        return;
    const QString userApps = PathsGenerator::GetInstance().buildUserApplicationsDirectory();
    const QString systemApps = Workspace::systemApplicationsFolder();
    if (isInstalledCopyPresent(bundleId, systemApps, userApps)) {
        qCDebug(lcRemains) << "another copy of" << bundleId << "is installed";
        return;
    }
    auto search = SpotlightEasySearch::create();
    search->setResultBlock([okBlock = std::move(okBlock), systemApps, userApps](SpotlightEasySearch *,
                                                                                MetadataIndexQuery *query) {
        if (!query)
            return;
        if (isCopyAmongResults(*query, systemApps, userApps)) {
            qCDebug(lcRemains) << "the metadata index knows another copy";
            return;
        }
        if (okBlock)
            okBlock();
    });
    // The identifier goes into the predicate as it is, without escaping.
    search->startQuery(QStringLiteral("kMDItemCFBundleIdentifier == '") + bundleId +
                           QStringLiteral("' AND kMDItemPath LIKE '?*'"),
                       {systemApps, userApps});
}
