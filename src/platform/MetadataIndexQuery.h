#pragma once

#include "ApplicationBundleWalks.h"
#include "MetadataPredicate.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <memory>
#include <optional>

// The metadata index query: finds the application bundles under its search scopes whose
// attributes match a predicate (MetadataPredicate). Each item has the attributes
// "kMDItemPath" and, when the bundle has one, "kMDItemCFBundleIdentifier".
//
// Gathering is a walk of the scopes, shared with the queries that run at the same
// time (ApplicationBundleWalks); the results are stored and
// "NSMetadataQueryDidFinishGatheringNotification" is posted (default
// NotificationCenter, the query as sender) on the main thread. A stopped query posts
// nothing more. Set up, start, stop and read it on the main thread. Owned through
// shared_ptr, since gathering reports back to it only while it lives.
class MetadataIndexQuery : public std::enable_shared_from_this<MetadataIndexQuery>
{
public:
    using Item = QVariantMap;
    using IsStopped = ApplicationBundleWalks::IsStopped;
    // Lists the candidate items under the scopes; runs off the main thread and should
    // return early once the query is stopped.
    using IndexSource = ApplicationBundleWalks::Source;

    // Folders entered below a scope: application folders are shallow, so bundles are
    // found down to <scope>/a/b/c/Name.app and no deeper.
    static constexpr int kMaxWalkDepth = 4;

    static const QString kItemPathKey;
    static const QString kItemBundleIdentifierKey;
    static const QString kDidFinishGatheringNotification;

    static std::shared_ptr<MetadataIndexQuery> create();
    ~MetadataIndexQuery();
    MetadataIndexQuery(const MetadataIndexQuery &) = delete;
    MetadataIndexQuery &operator=(const MetadataIndexQuery &) = delete;

    // False when the text is not of the understood form; the query then cannot start.
    bool setPredicate(const QString &format);
    // An empty list searches the default scope, the application folders.
    void setSearchScopes(const QStringList &scopes);
    QStringList searchScopes() const;

    // Begins gathering; false without a valid predicate, when started before, or when
    // no walk can be had (see ApplicationBundleWalks).
    bool startQuery();
    void stopQuery();
    bool isStopped() const { return m_stopped; }
    bool isGathering() const { return m_gathering; }
    QList<Item> results() const { return m_results; }

    // The walk of the scopes for application bundles, at most kMaxWalkDepth folders
    // down, not entering bundles nor following symbolic links.
    static QList<Item> gatherApplicationBundles(const QStringList &scopes, const IsStopped &isStopped);
    // Replaces where candidate items come from, for every query started afterwards
    // (tests stand in for the index with it); an empty function restores the walk.
    static void setIndexSource(IndexSource source);

private:
    MetadataIndexQuery() = default;
    void finishGathering(const QList<Item> &candidates);

    std::optional<MetadataPredicate> m_predicate;
    QStringList m_scopes;
    bool m_started = false;
    bool m_stopped = false;
    bool m_gathering = false;
    QList<Item> m_results;
    std::unique_ptr<ApplicationBundleWalks::Request> m_request;
};
