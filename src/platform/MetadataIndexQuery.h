#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

class SerialQueue;

// The metadata index query: finds the application bundles under its search scopes whose
// attributes match a predicate. Each item has the attributes "kMDItemPath" and, when the
// bundle has one, "kMDItemCFBundleIdentifier".
//
// The predicate is `attr == 'value'` or `attr LIKE 'pattern'` (`?` one character, `*`
// any run), conditions joined by AND. Gathering runs on the query's own serial queue;
// the results are stored and "NSMetadataQueryDidFinishGatheringNotification" is posted
// (default NotificationCenter, the query as sender) on the main thread. A stopped query
// posts nothing more. Set up, start, stop and read it on the main thread. Owned through
// shared_ptr, since gathering reports back to it only while it lives.
class MetadataIndexQuery : public std::enable_shared_from_this<MetadataIndexQuery>
{
public:
    using Item = QVariantMap;
    using IsStopped = std::function<bool()>;
    // Lists the candidate items under the scopes; runs off the main thread and should
    // return early once the query is stopped.
    using IndexSource = std::function<QList<Item>(const QStringList &scopes, const IsStopped &isStopped)>;

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

    // Begins gathering; false without a valid predicate or when started before.
    bool startQuery();
    void stopQuery();
    bool isStopped() const { return m_stopped->load(); }
    bool isGathering() const { return m_gathering; }
    QList<Item> results() const { return m_results; }

    // The walk of the scopes for application bundles, not entering bundles nor
    // following symbolic links.
    static QList<Item> gatherApplicationBundles(const QStringList &scopes, const IsStopped &isStopped);
    // Replaces where candidate items come from, for every query started afterwards
    // (tests stand in for the index with it); an empty function restores the walk.
    static void setIndexSource(IndexSource source);

private:
    struct Condition;

    MetadataIndexQuery();
    void finishGathering(const QList<Item> &matches);

    std::vector<Condition> m_conditions;
    bool m_hasPredicate = false;
    QStringList m_scopes;
    bool m_started = false;
    bool m_gathering = false;
    QList<Item> m_results;
    std::shared_ptr<std::atomic<bool>> m_stopped;
    std::unique_ptr<SerialQueue> m_queue;
};
