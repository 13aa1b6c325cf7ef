#pragma once

#include <QList>
#include <QStringList>
#include <QVariantMap>

#include <functional>
#include <memory>

// The walks of the application folders for application bundles that the metadata
// queries share.
//
// A burst of applications moved to the Trash starts a burst of queries over the same
// folders. A query joins a walk of the same scopes (and the same source) that is under
// way, or takes the items of one that finished less than Delays::kMetadataWalkReuse
// ago; only otherwise does a walk start, on a thread of its own. A walk that has run
// longer than the search limit is taken for stuck (a stalled network mount, a file
// call that does not return) and no query joins it any more: its thread is left to
// finish on its own, never waited for, and it ends by itself (detached). At most
// kMaxThreads walk threads exist at once, stuck ones included; a query beyond that, or
// one whose thread the system refuses, gets no walk. A walk no query waits for any
// more is told to stop. Quitting the application (QCoreApplication::aboutToQuit) stops
// every walk, drops the answers still owed and refuses further requests.
//
// Main thread only. A walk's thread touches nothing but what it was given (the scopes,
// the source, its stop flag) and hands its items to the main thread.
class ApplicationBundleWalks
{
public:
    using Item = QVariantMap;
    using IsStopped = std::function<bool()>;
    // Lists the candidate items under the scopes; runs on a walk's thread and should
    // return early once told to stop.
    using Source = std::function<QList<Item>(const QStringList &scopes, const IsStopped &isStopped)>;
    using Answer = std::function<void(const QList<Item> &items)>;

    static constexpr int kMaxThreads = 4;

    struct Walk;

    // A query's place at a walk; dropping it withdraws the query.
    class Request
    {
    public:
        Request(std::weak_ptr<Walk> walk, quint64 id);
        ~Request();
        Request(const Request &) = delete;
        Request &operator=(const Request &) = delete;

    private:
        std::weak_ptr<Walk> m_walk;
        quint64 m_id;
    };

    // Asks for the items under the scopes from the source; a source of another
    // generation never shares a walk. The answer comes later, on the main thread, at
    // most once and only while the request lives. Null when no walk can be had.
    static std::unique_ptr<Request> request(const QStringList &scopes, const Source &source, quint64 generation,
                                            Answer answer);

    // Walk threads that have not ended yet, stuck ones included.
    static int threadCount();
};
