#include "SpotlightEasySearch.h"

#include "RemainsLogging.h"
#include "platform/Delays.h"
#include "platform/MainThread.h"
#include "platform/MetadataIndexQuery.h"

#include <QCoreApplication>
#include <QPointer>

#include <chrono>
#include <unordered_map>

namespace {

using Registry = std::unordered_map<const SpotlightEasySearch *, std::shared_ptr<SpotlightEasySearch>>;

// The running searches, created on first use; main thread only.
Registry &registry()
{
    static auto *running = new Registry();
    return *running;
}

// Set once the application is about to quit; from then on no block is called.
bool g_quitting = false;

} // namespace

std::shared_ptr<SpotlightEasySearch> SpotlightEasySearch::create()
{
    return std::shared_ptr<SpotlightEasySearch>(new SpotlightEasySearch());
}

SpotlightEasySearch::SpotlightEasySearch()
    : m_pMetadataQuery(MetadataIndexQuery::create())
    , m_maxWaitTime(std::chrono::duration<double>(Delays::scaled(Delays::kMetadataSearchLimit)).count())
{
    // Only its own query's notification: hearing every query's and keeping its own
    // made a burst of n searches cost n^2 handler calls.
    m_observation = NotificationCenter::defaultCenter().addObserver(
        this, MetadataIndexQuery::kDidFinishGatheringNotification, m_pMetadataQuery.get(),
        [this](const Notification &note) { endSearchingNotify(&note); });
}

SpotlightEasySearch::~SpotlightEasySearch()
{
    NotificationCenter::defaultCenter().removeObserver(m_observation);
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
    if (m_pResultBlock && !g_quitting) {
        const ResultBlock block = std::exchange(m_pResultBlock, nullptr);
        block(this, m_pMetadataQuery.get());
    }
    RemovePointer(this);
}

void SpotlightEasySearch::SavePointer(const std::shared_ptr<SpotlightEasySearch> &search)
{
    static QPointer<QCoreApplication> watched;
    if (QCoreApplication *application = QCoreApplication::instance(); application && watched != application) {
        watched = application;
        g_quitting = false;
        QObject::connect(application, &QCoreApplication::aboutToQuit, application, &SpotlightEasySearch::stopAllWithoutAnswers);
    }
    if (search)
        registry().emplace(search.get(), search);
}

// A block called now would act on an application that is going away (the remains
// finder's would start a notification).
void SpotlightEasySearch::stopAllWithoutAnswers()
{
    g_quitting = true;
    Registry running;
    running.swap(registry());
    for (const auto &[key, search] : running) {
        search->m_pResultBlock = nullptr;
        search->m_pMetadataQuery->stopQuery();
    }
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
