// A burst of metadata searches, as when many applications are moved to the Trash at
// once: each trashed application asks whether another copy of it is installed, and
// each question is one search of the application folders. Prints, per burst, the time
// from the first search until the last answer, the processor time, the walks of the
// application folders, the most walks and the most threads at once; then the cost of
// the notification centre alone with many observers, each for its own sender.
//
// The application folders are made in a temporary folder: APPS bundles, a third at
// the top, the rest one and two folders down. The second burst follows the first at
// once, each later one comes 2.5 s after the one before.
//
//   bench_MetadataSearch [SEARCHES [APPS [BURSTS]]]   (default 100 300 3)

#include "platform/MetadataIndexQuery.h"
#include "platform/NotificationCenter.h"
#include "platform/PropertyList.h"
#include "platform/Workspace.h"
#include "remains/SpotlightEasySearch.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <sys/resource.h>

namespace {

int argumentOr(int argc, char **argv, int index, int fallback)
{
    return argc > index ? std::max(1, std::atoi(argv[index])) : fallback;
}

void makeApp(const QString &path, const QString &identifier)
{
    QDir().mkpath(path + QStringLiteral("/Contents/MacOS"));
    QFile plist(path + QStringLiteral("/Contents/Info.plist"));
    if (plist.open(QIODevice::WriteOnly))
        plist.write(PropertyList::toData(QVariantMap{{QStringLiteral("CFBundleIdentifier"), identifier}},
                                         PropertyList::Format::Xml));
}

void makeApplicationFolder(const QString &folder, int apps)
{
    for (int i = 0; i < apps; ++i) {
        const QString name = QStringLiteral("App %1.app").arg(i);
        const QString group = QStringLiteral("Group %1").arg(i % 10);
        const QString relative = i % 3 == 0   ? name
                                 : i % 3 == 1 ? group + u'/' + name
                                              : group + QStringLiteral("/Tools/") + name;
        makeApp(folder + u'/' + relative, QStringLiteral("com.example.app%1").arg(i));
    }
}

int threadCount()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("Threads:"))
            return line.mid(8).trimmed().toInt();
    }
    return 0;
}

double processorMilliseconds()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto ms = [](const timeval &t) { return double(t.tv_sec) * 1e3 + double(t.tv_usec) / 1e3; };
    return ms(usage.ru_utime) + ms(usage.ru_stime);
}

void raise(std::atomic<int> &most, int value)
{
    for (int seen = most.load(); value > seen && !most.compare_exchange_weak(seen, value);) {
    }
}

struct WalkCounters
{
    std::atomic<int> walks{0};
    std::atomic<int> running{0};
    std::atomic<int> mostRunning{0};
    std::atomic<int> mostThreads{0};
};

WalkCounters g_counters;

// The real walk, counted.
QList<MetadataIndexQuery::Item> countedWalk(const QStringList &scopes, const MetadataIndexQuery::IsStopped &isStopped)
{
    ++g_counters.walks;
    raise(g_counters.mostRunning, ++g_counters.running);
    raise(g_counters.mostThreads, threadCount());
    auto items = MetadataIndexQuery::gatherApplicationBundles(scopes, isStopped);
    --g_counters.running;
    return items;
}

void runBurst(int burst, int searches, const QStringList &scopes)
{
    g_counters.walks = 0;
    g_counters.mostRunning = 0;
    g_counters.mostThreads = threadCount();
    int answered = 0;
    QElapsedTimer timer;
    timer.start();
    const double processorBefore = processorMilliseconds();
    for (int i = 0; i < searches; ++i) {
        auto search = SpotlightEasySearch::create();
        search->setResultBlock([&answered](SpotlightEasySearch *, MetadataIndexQuery *) {
            ++answered;
            raise(g_counters.mostThreads, threadCount());
        });
        search->startQuery(QStringLiteral("kMDItemCFBundleIdentifier == 'com.example.trashed%1' AND kMDItemPath LIKE '?*'")
                               .arg(i),
                           scopes);
    }
    while (answered < searches)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    std::printf("%-6d %9d %9lld %9.0f %7d %13d %12d\n", burst, searches, static_cast<long long>(timer.elapsed()),
                processorMilliseconds() - processorBefore, g_counters.walks.load(), g_counters.mostRunning.load(),
                g_counters.mostThreads.load());
}

// Observers each for a sender of their own, one post per sender.
void benchNotificationCenter(int observers)
{
    NotificationCenter center;
    std::vector<int> senders(size_t(observers), 0);
    int calls = 0;
    QElapsedTimer timer;
    timer.start();
    for (int &sender : senders)
        center.addObserver(&sender, QStringLiteral("finished"), &sender, [&calls](const Notification &) { ++calls; });
    const qint64 added = timer.nsecsElapsed();
    for (int &sender : senders)
        center.post(QStringLiteral("finished"), &sender);
    const qint64 posted = timer.nsecsElapsed();
    for (int &sender : senders)
        center.removeObserver(&sender);
    std::printf("%9d %11.1f %11.1f %11.1f %7d\n", observers, double(added) / 1e6, double(posted - added) / 1e6,
                double(timer.nsecsElapsed() - posted) / 1e6, calls);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int searches = argumentOr(argc, argv, 1, 100);
    const int apps = argumentOr(argc, argv, 2, 300);
    const int bursts = argumentOr(argc, argv, 3, 3);
    QTemporaryDir root;
    const QStringList scopes{root.filePath(QStringLiteral("Applications")), root.filePath(QStringLiteral("home/Applications"))};
    makeApplicationFolder(scopes.first(), apps);
    QDir().mkpath(scopes.last());
    Workspace::setSystemApplicationsFolder(scopes.first());
    MetadataIndexQuery::setIndexSource(&countedWalk);

    std::printf("%d searches per burst, %d applications in the folders\n\n", searches, apps);
    std::printf("%-6s %9s %9s %9s %7s %13s %12s\n", "burst", "searches", "wall ms", "cpu ms", "walks", "walks at once",
                "most threads");
    // The second burst follows the first at once; the others start after a pause
    // longer than a finished walk is reused.
    for (int burst = 1; burst <= bursts; ++burst) {
        if (burst > 2)
            QThread::msleep(2500);
        runBurst(burst, searches, scopes);
    }

    std::printf("\nnotification centre, one observer and one post per sender\n");
    std::printf("%9s %11s %11s %11s %7s\n", "observers", "add ms", "post ms", "remove ms", "calls");
    for (const int observers : {1000, 10000})
        benchNotificationCenter(observers);
    MetadataIndexQuery::setIndexSource({});
    return 0;
}
