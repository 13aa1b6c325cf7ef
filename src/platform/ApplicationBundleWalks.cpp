#include "ApplicationBundleWalks.h"

#include "Delays.h"
#include "MainThread.h"
#include "ThreadLauncher.h"

#include <QCoreApplication>
#include <QPointer>

#include <atomic>
#include <chrono>
#include <map>
#include <optional>
#include <vector>

using Clock = std::chrono::steady_clock;

// One walk, as the main thread sees it.
struct ApplicationBundleWalks::Walk
{
    QStringList scopes;
    quint64 generation = 0;
    Clock::time_point started = Clock::now();
    std::optional<Clock::time_point> finished;
    QList<Item> items;
    std::map<quint64, Answer> waiting;
    // Shared with the walk's thread, which reads nothing else of the walk.
    std::shared_ptr<std::atomic<bool>> stopped = std::make_shared<std::atomic<bool>>(false);

    bool isFresh(Clock::time_point now) const
    {
        return finished ? now - *finished < Delays::scaled(Delays::kMetadataWalkReuse)
                        : now - started < Delays::scaled(Delays::kMetadataSearchLimit);
    }

    // Hands the items to the query waiting under the id (every query when none).
    void answer(std::optional<quint64> id)
    {
        std::map<quint64, Answer> answered;
        if (!id) {
            answered.swap(waiting);
        } else if (const auto found = waiting.find(*id); found != waiting.end()) {
            answered.insert(waiting.extract(found));
        }
        for (const auto &entry : answered)
            entry.second(items);
    }
};

namespace {

using Walk = ApplicationBundleWalks::Walk;

struct Pool
{
    // Walks under way and walks finished lately; a stuck walk stays while queries wait.
    std::vector<std::shared_ptr<Walk>> walks;
    // Walk threads not ended yet; each thread holds the counter it lowers at its end.
    std::shared_ptr<std::atomic<int>> threads = std::make_shared<std::atomic<int>>(0);
    quint64 nextId = 1;
    bool quitting = false;
    QPointer<QCoreApplication> application;
};

// Made on first use and never destroyed: walk threads may outlive everything else.
Pool &pool()
{
    static auto *walks = new Pool();
    return *walks;
}

// Quitting stops every walk and drops what is still owed; the walks' threads find
// their stop flags set and post nothing more.
void stopEverything()
{
    Pool &walks = pool();
    walks.quitting = true;
    for (const auto &walk : walks.walks) {
        walk->stopped->store(true);
        walk->waiting.clear();
    }
    walks.walks.clear();
}

void watchForQuitting(Pool &walks)
{
    QCoreApplication *application = QCoreApplication::instance();
    if (!application || walks.application == application)
        return;
    walks.application = application;
    walks.quitting = false;
    QObject::connect(application, &QCoreApplication::aboutToQuit, application, &stopEverything);
}

// Drops the walks no query waits for that no query may join: under way ones (told to
// stop when their last query left) and ones finished too long ago.
void prune(Pool &walks)
{
    const Clock::time_point now = Clock::now();
    std::erase_if(walks.walks, [now](const std::shared_ptr<Walk> &walk) {
        return walk->waiting.empty() && !(walk->finished && walk->isFresh(now));
    });
}

std::shared_ptr<Walk> joinableWalk(const Pool &walks, const QStringList &scopes, quint64 generation)
{
    const Clock::time_point now = Clock::now();
    for (const auto &walk : walks.walks) {
        if (walk->scopes == scopes && walk->generation == generation && !walk->stopped->load() && walk->isFresh(now))
            return walk;
    }
    return nullptr;
}

void finish(const std::weak_ptr<Walk> &weakWalk, const QList<ApplicationBundleWalks::Item> &items)
{
    const auto walk = weakWalk.lock();
    if (!walk || walk->stopped->load())
        return;
    walk->finished = Clock::now();
    walk->items = items;
    walk->answer(std::nullopt);
}

std::shared_ptr<Walk> startWalk(Pool &walks, const QStringList &scopes, const ApplicationBundleWalks::Source &source,
                                quint64 generation)
{
    if (walks.threads->load() >= ApplicationBundleWalks::kMaxThreads)
        return nullptr;
    auto walk = std::make_shared<Walk>();
    walk->scopes = scopes;
    walk->generation = generation;
    ++*walks.threads;
    std::thread thread = ThreadLauncher::start(
        QStringLiteral("MetadataWalk"),
        [scopes, source, stopped = walk->stopped, weakWalk = std::weak_ptr<Walk>(walk), threads = walks.threads] {
            {
                QList<ApplicationBundleWalks::Item> items = source(scopes, [&stopped] { return stopped->load(); });
                if (!stopped->load())
                    MainThread::async([weakWalk, items = std::move(items)] { finish(weakWalk, items); });
            }
            --*threads;
        });
    if (!thread.joinable()) {
        --*walks.threads;
        return nullptr;
    }
    thread.detach();
    walks.walks.push_back(walk);
    return walk;
}

} // namespace

ApplicationBundleWalks::Request::Request(std::weak_ptr<Walk> walk, quint64 id)
    : m_walk(std::move(walk))
    , m_id(id)
{
}

ApplicationBundleWalks::Request::~Request()
{
    const auto walk = m_walk.lock();
    if (!walk)
        return;
    walk->waiting.erase(m_id);
    if (walk->waiting.empty() && !walk->finished)
        walk->stopped->store(true);
}

std::unique_ptr<ApplicationBundleWalks::Request> ApplicationBundleWalks::request(const QStringList &scopes,
                                                                                 const Source &source,
                                                                                 quint64 generation, Answer answer)
{
    Pool &walks = pool();
    watchForQuitting(walks);
    if (walks.quitting || !source || !answer)
        return nullptr;
    prune(walks);
    std::shared_ptr<Walk> walk = joinableWalk(walks, scopes, generation);
    if (!walk)
        walk = startWalk(walks, scopes, source, generation);
    if (!walk)
        return nullptr;
    const quint64 id = walks.nextId++;
    walk->waiting.emplace(id, std::move(answer));
    if (walk->finished) // answered later all the same, as from a walk
        MainThread::async([weakWalk = std::weak_ptr<Walk>(walk), id] {
            if (const auto finished = weakWalk.lock())
                finished->answer(id);
        });
    return std::make_unique<Request>(walk, id);
}

int ApplicationBundleWalks::threadCount()
{
    return pool().threads->load();
}
