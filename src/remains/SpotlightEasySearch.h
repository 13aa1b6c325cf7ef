#pragma once

#include "platform/NotificationCenter.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

class MetadataIndexQuery;

// A one-shot metadata search: runs one index query, waits until its first gathering has
// finished or the time limit has passed, hands the query with its results to the result
// block (at most once) and keeps itself alive meanwhile in a class-wide registry, so that
// a caller can start a search and forget it.
//
// When the application is about to quit (QCoreApplication::aboutToQuit), every running
// search stops and is dropped without calling its block, and no block is called
// afterwards.
//
// Main thread only. Owned through shared_ptr (the registry and the time-out hold it).
class SpotlightEasySearch : public std::enable_shared_from_this<SpotlightEasySearch>
{
public:
    using ResultBlock = std::function<void(SpotlightEasySearch *search, MetadataIndexQuery *query)>;

    static std::shared_ptr<SpotlightEasySearch> create();
    ~SpotlightEasySearch();
    SpotlightEasySearch(const SpotlightEasySearch &) = delete;
    SpotlightEasySearch &operator=(const SpotlightEasySearch &) = delete;

    // Set it before starting.
    void setResultBlock(ResultBlock block);
    // The predicate text is used as it is; an empty folder list keeps the default scope.
    void startQuery(const QString &format);
    void startQuery(const QString &format, const QStringList &folders);
    void stopQuery();
    // Ends the search: for the query's own "finished gathering" notification, or for
    // nothing (a stop, a time-out, a failed start). Notifications of other queries are ignored.
    void endSearchingNotify(const Notification *notification);

    static void SavePointer(const std::shared_ptr<SpotlightEasySearch> &search);
    static void RemovePointer(const SpotlightEasySearch *search);
    static bool isRegistered(const SpotlightEasySearch *search);
    static qsizetype runningSearchCount();

    // Seconds a query may run before it is stopped; the search limit by default.
    double maxWaitTime() const { return m_maxWaitTime; }
    void setMaxWaitTime(double seconds) { m_maxWaitTime = seconds; }
    std::shared_ptr<MetadataIndexQuery> query() const { return m_pMetadataQuery; }

private:
    SpotlightEasySearch();
    void armTimeOut();
    static void stopAllWithoutAnswers();

    std::shared_ptr<MetadataIndexQuery> m_pMetadataQuery;
    NotificationCenter::Token m_observation = NotificationCenter::Token::None;
    ResultBlock m_pResultBlock;
    double m_maxWaitTime;
};
