#include "SpotlightEasySearch.h"

#include "RemainsLogging.h"
#include "platform/Delays.h"
#include "platform/MainThread.h"
#include "platform/MetadataIndexQuery.h"
#include "platform/NotificationCenter.h"

#include <chrono>
#include <unordered_map>

namespace {

// The running searches, created on first use; main thread only.
std::unordered_map<const SpotlightEasySearch *, std::shared_ptr<SpotlightEasySearch>> &registry()
{
    static auto *running = new std::unordered_map<const SpotlightEasySearch *, std::shared_ptr<SpotlightEasySearch>>();
    return *running;
}

} // namespace

std::shared_ptr<SpotlightEasySearch> SpotlightEasySearch::create()
{
    return std::shared_ptr<SpotlightEasySearch>(new SpotlightEasySearch());
}

SpotlightEasySearch::SpotlightEasySearch()
    : m_pMetadataQuery(MetadataIndexQuery::create())
    , m_maxWaitTime(std::chrono::duration<double>(Delays::scaled(Delays::kMetadataSearchLimit)).count())
{
    // Every query's notification arrives here; endSearchingNotify keeps its own.
    NotificationCenter::defaultCenter().addObserver(this, MetadataIndexQuery::kDidFinishGatheringNotification, nullptr,
                                                    [this](const Notification &note) { endSearchingNotify(&note); });
}

SpotlightEasySearch::~SpotlightEasySearch()
{
    NotificationCenter::defaultCenter().removeObserver(this);
}

void SpotlightEasySearch::setResultBlock(ResultBlock block)
{
    m_pResultBlock = std::move(block);
}

void SpotlightEasySearch::startQuery(const QString &format)
{
    startQuery(format, {});
}

void SpotlightEasySearch::startQuery(const QString &format, const QStringList &folders)
{
    const bool understood = m_pMetadataQuery->setPredicate(format);
    if (!folders.isEmpty())
        m_pMetadataQuery->setSearchScopes(folders);
    SavePointer(shared_from_this());
    if (understood && m_pMetadataQuery->startQuery()) {
        armTimeOut();
    } else {
        qCDebug(lcRemains) << "metadata query did not start:" << format;
        endSearchingNotify(nullptr);
    }
}

// The time-out holds the search weakly: the registry keeps it alive while it runs, and
// a search that ended early is released at once with its query and the query's
// thread, instead of lingering until the limit (a burst of trashed applications
// would otherwise keep a thread per application for the whole search limit).
void SpotlightEasySearch::armTimeOut()
{
    const auto limit = std::chrono::duration<double>(qMax(m_maxWaitTime, 0.0));
    const auto delay = std::chrono::ceil<std::chrono::milliseconds>(limit);
    MainThread::after(delay, nullptr, [search = weak_from_this()] {
        if (const auto self = search.lock())
            self->stopQuery();
    });
}

void SpotlightEasySearch::stopQuery()
{
    endSearchingNotify(nullptr);
}

void SpotlightEasySearch::endSearchingNotify(const Notification *notification)
{
    if (notification && notification->sender != m_pMetadataQuery.get())
        return;
    const auto keepAlive = weak_from_this().lock(); // leaving the registry may release the last owner
    if (!m_pMetadataQuery->isStopped())
        m_pMetadataQuery->stopQuery();
    if (m_pResultBlock) {
        const ResultBlock block = std::exchange(m_pResultBlock, nullptr);
        block(this, m_pMetadataQuery.get());
    }
    RemovePointer(this);
}

void SpotlightEasySearch::SavePointer(const std::shared_ptr<SpotlightEasySearch> &search)
{
    if (search)
        registry().emplace(search.get(), search);
}

void SpotlightEasySearch::RemovePointer(const SpotlightEasySearch *search)
{
    registry().erase(search);
}

bool SpotlightEasySearch::isRegistered(const SpotlightEasySearch *search)
{
    return registry().count(search) != 0;
}

qsizetype SpotlightEasySearch::runningSearchCount()
{
    return static_cast<qsizetype>(registry().size());
}
