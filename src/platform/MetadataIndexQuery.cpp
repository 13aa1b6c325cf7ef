#include "MetadataIndexQuery.h"

#include "Bundle.h"
#include "DirectoryListing.h"
#include "FileAttributes.h"
#include "NotificationCenter.h"
#include "PackageRules.h"
#include "Workspace.h"

#include <QDir>
#include <QSet>

#include <algorithm>
#include <mutex>

const QString MetadataIndexQuery::kItemPathKey = QStringLiteral("kMDItemPath");
const QString MetadataIndexQuery::kItemBundleIdentifierKey = QStringLiteral("kMDItemCFBundleIdentifier");
const QString MetadataIndexQuery::kDidFinishGatheringNotification =
    QStringLiteral("NSMetadataQueryDidFinishGatheringNotification");

namespace {

std::mutex g_sourceLock;
MetadataIndexQuery::IndexSource g_indexSource;
// Walks of one source are never shared with queries of another.
quint64 g_sourceGeneration = 0;

MetadataIndexQuery::Item itemForBundle(const QString &path)
{
    MetadataIndexQuery::Item item{{MetadataIndexQuery::kItemPathKey, path}};
    const auto bundle = Bundle::bundleWithPath(path);
    const QString identifier = bundle ? bundle->bundleIdentifier() : QString();
    if (!identifier.isNull())
        item.insert(MetadataIndexQuery::kItemBundleIdentifierKey, identifier);
    return item;
}

// The sub-folders of the folder by name; the type the directory records spares a
// stat for most entries, and links are never taken for folders.
QStringList subfolders(const QString &folder)
{
    QStringList names;
    const auto entries = DirectoryListing::read(folder);
    for (const DirectoryListing::Entry &entry : entries ? *entries : std::vector<DirectoryListing::Entry>()) {
        const auto type = entry.type != FileAttributes::ResourceType::Unknown
                              ? entry.type
                              : FileAttributes::resourceType(folder + QLatin1Char('/') + entry.name);
        if (type == FileAttributes::ResourceType::Directory)
            names.append(entry.name);
    }
    names.sort();
    return names;
}

struct Collector
{
    const MetadataIndexQuery::IsStopped &isStopped;
    QSet<QString> seen;
    QList<MetadataIndexQuery::Item> items;

    void addBundle(const QString &path)
    {
        if (!seen.contains(path)) {
            seen.insert(path);
            items.append(itemForBundle(path));
        }
    }

    void collect(const QString &folder, int depth)
    {
        for (const QString &name : subfolders(folder)) {
            if (isStopped())
                return;
            const QString path = folder + QLatin1Char('/') + name;
            if (PackageRules::hasApplicationExtension(name))
                addBundle(path);
            else if (!PackageRules::hasPackageExtension(name) && depth < MetadataIndexQuery::kMaxWalkDepth)
                collect(path, depth + 1);
        }
    }
};

} // namespace

std::shared_ptr<MetadataIndexQuery> MetadataIndexQuery::create()
{
    return std::shared_ptr<MetadataIndexQuery>(new MetadataIndexQuery());
}

MetadataIndexQuery::~MetadataIndexQuery() = default; // withdrawing the request stops a walk no one else waits for

bool MetadataIndexQuery::setPredicate(const QString &format)
{
    m_predicate = MetadataPredicate::fromFormat(format);
    return m_predicate.has_value();
}

void MetadataIndexQuery::setSearchScopes(const QStringList &scopes)
{
    m_scopes = scopes;
}

QStringList MetadataIndexQuery::searchScopes() const
{
    return m_scopes.isEmpty() ? Workspace::applicationFolders() : m_scopes;
}

bool MetadataIndexQuery::startQuery()
{
    if (!m_predicate || m_started || m_stopped)
        return false;
    m_started = true;
    IndexSource source = &MetadataIndexQuery::gatherApplicationBundles;
    quint64 generation = 0;
    {
        std::lock_guard guard(g_sourceLock);
        if (g_indexSource)
            source = g_indexSource;
        generation = g_sourceGeneration;
    }
    m_request = ApplicationBundleWalks::request(searchScopes(), source, generation,
                                                [weakSelf = weak_from_this()](const QList<Item> &candidates) {
                                                    if (const auto self = weakSelf.lock())
                                                        self->finishGathering(candidates);
                                                });
    m_gathering = m_request != nullptr;
    return m_gathering;
}

void MetadataIndexQuery::finishGathering(const QList<Item> &candidates)
{
    if (m_stopped)
        return;
    m_results.clear();
    std::copy_if(candidates.cbegin(), candidates.cend(), std::back_inserter(m_results),
                 [this](const Item &item) { return m_predicate->matches(item); });
    m_gathering = false;
    m_request.reset();
    NotificationCenter::defaultCenter().post(kDidFinishGatheringNotification, this);
}

void MetadataIndexQuery::stopQuery()
{
    m_stopped = true;
    m_gathering = false;
    m_request.reset();
}

QList<MetadataIndexQuery::Item> MetadataIndexQuery::gatherApplicationBundles(const QStringList &scopes,
                                                                            const IsStopped &isStopped)
{
    Collector collector{isStopped, {}, {}};
    for (const QString &scope : scopes) {
        const QString folder = QDir::cleanPath(scope);
        if (PackageRules::isApplication(folder))
            collector.addBundle(folder); // a scope that is itself a bundle
        else if (!scope.isEmpty())
            collector.collect(folder, 1);
    }
    return collector.items;
}

void MetadataIndexQuery::setIndexSource(IndexSource source)
{
    std::lock_guard guard(g_sourceLock);
    g_indexSource = std::move(source);
    ++g_sourceGeneration;
}
