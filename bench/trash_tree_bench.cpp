// Trash watching under load: a Trash of 50,000 entries.
//
// Prints the time and memory to build the Trash's tree, the time to refresh it after
// 1,000 entries arrive next to the time of one plain directory read of the same
// folder, and the latency from the last file-system event to the report of an
// application, minus the debounce. Then two hostile loads: a folder of 100,000 empty
// sub-folders moved into the Trash (the longest stall of the main thread, and the
// delay of the next application trashed), and 100,000 names chosen to collide in the
// children table under a known hash seed (the time to build and refresh their tree,
// with this process's seed and, in a child process, with the seed forced to 0).
// Uses the shipped delays.
//
// Times are given as the thread's CPU time (user and system), which a busy machine
// does not inflate, with the wall-clock time beside it.
//
// Usage: trash_tree_bench [folder for the temporary home]   (default: the temp folder)

#include "core/PathsGenerator.h"
#include "platform/Delays.h"
#include "platform/PropertyList.h"
#include "platform/TrashLocation.h"
#include "platform/UserDatabase.h"
#include "watching/AppsInTrashWatcher.h"
#include "watching/AppsInTrashWatcherListener.h"
#include "watching/DirectoryWatcher.h"
#include "watching/FileItem.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kTrashEntries = 50000;
constexpr int kFoldersPer1000 = 50;   // the Trash holds folders as well as files
constexpr int kArrivals = 1000;
constexpr int kArrivingFolders = 100; // each with two files inside
constexpr int kRefreshRounds = 3;
constexpr int kListingRuns = 5;
constexpr int kLatencyRuns = 5;
constexpr int kSubFolders = 100000;
constexpr int kCollidingNames = 100000;
// The children table of 100,000 entries has 2^17 slots; the colliding names all land
// in its first 1,024.
constexpr std::size_t kTableMask = (1u << 17) - 1;
constexpr std::size_t kCollisionWindow = 1024;
const char *const kCollidingNamesOnly = "--colliding-names-only";

using Clock = QElapsedTimer;

double millisecondsSince(const Clock &clock)
{
    return double(clock.nsecsElapsed()) / 1e6;
}

double threadCpuMilliseconds()
{
    timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

// CPU and wall-clock time of one piece of work.
struct Timing
{
    double cpu = 0;
    double wall = 0;
};

template<typename Work>
Timing timed(Work work)
{
    Clock clock;
    clock.start();
    const double cpuBefore = threadCpuMilliseconds();
    work();
    return {threadCpuMilliseconds() - cpuBefore, millisecondsSince(clock)};
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

quint64 heapInUse()
{
    const struct mallinfo2 info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
}

long peakResidentKilobytes()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

void writeFile(const QString &path)
{
    QFile file(path);
    file.open(QIODevice::WriteOnly);
}

void writeFolder(const QString &path)
{
    QDir().mkpath(path);
    writeFile(path + QStringLiteral("/one"));
    writeFile(path + QStringLiteral("/two"));
}

void writeApp(const QString &path, const QString &identifier)
{
    QDir().mkpath(path + QStringLiteral("/Contents/MacOS"));
    QFile plist(path + QStringLiteral("/Contents/Info.plist"));
    if (plist.open(QIODevice::WriteOnly))
        plist.write(PropertyList::toData(QVariantMap{{QStringLiteral("CFBundleIdentifier"), identifier}},
                                         PropertyList::Format::Xml));
}

// Entries named as a file manager names trashed items: an original name, made unique.
void populate(const QString &folder, const QString &prefix, int count, int folders)
{
    for (int i = 0; i < count; ++i) {
        const QString path = QStringLiteral("%1/%2 %3.dat").arg(folder, prefix).arg(i, 6, 10, QLatin1Char('0'));
        if (i < folders)
            writeFolder(path);
        else
            writeFile(path);
    }
}

// The plain directory read the refresh is compared with: every name, nothing more.
Timing timeOfOneListing(const QString &folder)
{
    std::vector<double> cpu;
    std::vector<double> wall;
    for (int run = 0; run < kListingRuns; ++run) {
        const Timing timing = timed([&folder] {
            DIR *directory = ::opendir(QFile::encodeName(folder).constData());
            while (::readdir(directory)) {
            }
            ::closedir(directory);
        });
        cpu.push_back(timing.cpu);
        wall.push_back(timing.wall);
    }
    return {median(cpu), median(wall)};
}

void measureBuild(const QString &trash)
{
    const quint64 heapBefore = heapInUse();
    const long peakBefore = peakResidentKilobytes();
    std::unique_ptr<FileItem> tree;
    const Timing timing = timed([&] { tree = FileItem::createTreeForPath(trash, 1); });
    const quint64 heap = heapInUse() - heapBefore;
    const std::size_t nodes = 1 + tree->getChildren()->size();
    std::printf("build:    %zu nodes in %.1f ms CPU (%.1f ms wall); the tree holds %.2f MB of heap = %.0f bytes "
                "per node (target <= 300); peak resident set grew by %.1f MB, to %.1f MB\n",
                nodes, timing.cpu, timing.wall, double(heap) / 1e6, double(heap) / double(nodes),
                double(peakResidentKilobytes() - peakBefore) / 1e3, double(peakResidentKilobytes()) / 1e3);
}

class NoDelegate : public DirectoryWatcherDelegate
{
public:
    void onAddedAppWithPath(const QString &) override {}
};

// The directory watcher's own refresh, listener work included, after each batch.
void measureRefresh(const QString &trash)
{
    DirectoryWatcher watcher(trash);
    NoDelegate delegate;
    watcher.setDelegate(&delegate);
    for (int round = 1; round <= kRefreshRounds; ++round) {
        populate(trash, QStringLiteral("arrival-%1").arg(round), kArrivals, kArrivingFolders);
        const Timing listing = timeOfOneListing(trash);
        const Timing refresh = timed([&watcher] { watcher.updateDirContent(); });
        std::printf("refresh:  round %d, %d arrivals (%d folders) into %d entries: %.2f ms CPU (%.2f wall); "
                    "one plain read %.2f ms CPU (%.2f wall); ratio %.2f CPU, %.2f wall (target <= 3)\n",
                    round, kArrivals, kArrivingFolders, kTrashEntries + (round - 1) * kArrivals, refresh.cpu,
                    refresh.wall, listing.cpu, listing.wall, refresh.cpu / listing.cpu, refresh.wall / listing.wall);
    }
}

class Stopwatch : public AppsInTrashWatcherListener
{
public:
    void onAppMovedToTrash(const Bundle &) override { reportedAfter = millisecondsSince(sinceEvent); }
    Clock sinceEvent;
    double reportedAfter = -1;
};

void measureLatency(const QString &trash, const QString &staging)
{
    Stopwatch stopwatch;
    AppsInTrashWatcher watcher(&stopwatch);
    const double debounce = double(Delays::scaled(Delays::kTrashDebounce).count());
    std::vector<double> beyond;
    for (int run = 0; run < kLatencyRuns; ++run) {
        const QString name = QStringLiteral("Bench %1.app").arg(run);
        writeApp(staging + QLatin1Char('/') + name, QStringLiteral("com.example.bench%1").arg(run));
        stopwatch.reportedAfter = -1;
        QDir().rename(staging + QLatin1Char('/') + name, trash + QLatin1Char('/') + name);
        stopwatch.sinceEvent.start();
        while (stopwatch.reportedAfter < 0)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        beyond.push_back(stopwatch.reportedAfter - debounce);
    }
    std::printf("latency:  last event to report minus the %.0f ms debounce, %d runs: median %.1f ms, max %.1f ms "
                "(target <= 100)\n",
                debounce, kLatencyRuns, median(beyond), *std::max_element(beyond.begin(), beyond.end()));
}

// The longest gap between two ticks of a 10 ms timer on the main thread, and the
// main thread's CPU time within it.
struct StallMeter
{
    StallMeter()
    {
        clock.start();
        timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&timer, &QTimer::timeout, [this] {
            const Timing now{threadCpuMilliseconds(), millisecondsSince(clock)};
            if (now.wall - last.wall > longest.wall)
                longest = {now.cpu - last.cpu, now.wall - last.wall};
            last = now;
        });
        last = {threadCpuMilliseconds(), 0};
        timer.start(10);
    }
    QTimer timer;
    Clock clock;
    Timing last;
    Timing longest;
};

class ReportClock : public AppsInTrashWatcherListener
{
public:
    void onAppMovedToTrash(const Bundle &) override { reported = std::chrono::steady_clock::now(); }
    std::atomic<std::chrono::steady_clock::time_point> moved{};
    std::chrono::steady_clock::time_point reported{};
};

// The next application is trashed from another thread, on time even while the main
// thread is busy, once the folder's refresh and search are due.
void measureManySubFolders(const QString &trash, const QString &staging)
{
    const QString folder = staging + QStringLiteral("/Many Folders");
    QDir().mkpath(folder);
    for (int i = 0; i < kSubFolders; ++i)
        ::mkdir(QFile::encodeName(QStringLiteral("%1/folder %2").arg(folder).arg(i)).constData(), 0755);
    writeApp(staging + QStringLiteral("/Next.app"), QStringLiteral("com.example.next"));
    ReportClock clock;
    AppsInTrashWatcher watcher(&clock);
    StallMeter stalls;
    QDir().rename(folder, trash + QStringLiteral("/Many Folders"));
    std::thread later([&] {
        std::this_thread::sleep_for(Delays::kTrashDebounce + Delays::kFolderSearch + std::chrono::milliseconds(500));
        QDir().rename(staging + QStringLiteral("/Next.app"), trash + QStringLiteral("/Next.app"));
        clock.moved = std::chrono::steady_clock::now();
    });
    while (clock.reported <= clock.moved.load())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    later.join();
    Clock settle;
    settle.start();
    while (settle.elapsed() < 5000) // the search of the folder goes on meanwhile
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
    const double delay = std::chrono::duration<double, std::milli>(clock.reported - clock.moved.load()).count();
    std::printf("folders:  %d empty sub-folders moved in: the next application reported %.0f ms after its move "
                "minus the %lld ms debounce; longest main-thread stall %.0f ms (%.0f ms CPU)\n",
                kSubFolders, delay - double(Delays::kTrashDebounce.count()), qlonglong(Delays::kTrashDebounce.count()),
                stalls.longest.wall, stalls.longest.cpu);
}

// Names whose hashes under the seed 0 fall in the first slots of the table.
std::vector<QString> collidingNames()
{
    std::vector<QString> names;
    for (quint64 candidate = 0; names.size() < std::size_t(kCollidingNames); ++candidate) {
        QString name = QStringLiteral("trashed %1.dat").arg(candidate);
        if ((qHash(name, 0) & kTableMask) < kCollisionWindow)
            names.push_back(std::move(name));
    }
    return names;
}

void measureCollidingNames(const QString &folder)
{
    QDir().mkpath(folder);
    for (const QString &name : collidingNames())
        ::close(::open(QFile::encodeName(folder + QLatin1Char('/') + name).constData(), O_CREAT | O_WRONLY, 0644));
    std::unique_ptr<FileItem> tree;
    const Timing build = timed([&] { tree = FileItem::createTreeForPath(folder, 1); });
    const Timing refresh = timed([&] { tree->updateContentOfDir(); });
    std::printf("names:    %d names colliding under the seed 0, hash seed %zu: build %.0f ms CPU (%.0f wall), "
                "refresh %.0f ms CPU (%.0f wall)\n",
                kCollidingNames, std::size_t(QHashSeed::globalSeed()), build.cpu, build.wall, refresh.cpu,
                refresh.wall);
}

// The same names in a process whose hash seed is forced to 0, as it was fixed before.
void measureCollidingNamesUnderSeedZero(const QString &folder)
{
    QProcess child;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_HASH_SEED"), QStringLiteral("0"));
    child.setProcessEnvironment(environment);
    child.setProcessChannelMode(QProcess::ForwardedChannels);
    std::fflush(stdout);
    child.start(QCoreApplication::applicationFilePath(), {QString::fromLatin1(kCollidingNamesOnly), folder});
    child.waitForFinished(-1);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc > 2 && qstrcmp(argv[1], kCollidingNamesOnly) == 0) {
        measureCollidingNames(QString::fromLocal8Bit(argv[2]));
        return 0;
    }
    const QString base = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QDir::tempPath();
    QTemporaryDir root(base + QStringLiteral("/trash-bench-XXXXXX"));
    if (!root.isValid()) {
        std::fprintf(stderr, "cannot make a folder in %s\n", qPrintable(base));
        return 1;
    }
    UserDatabase::setHomeOverride(root.filePath(QStringLiteral("home")));
    const QString trash = TrashLocation::ensureFilesDirectory(PathsGenerator::GetInstance().getHomeDirectory());
    const QString staging = root.filePath(QStringLiteral("home/staging"));
    QDir().mkpath(staging);

    std::printf("populating %s with %d entries...\n", qPrintable(trash), kTrashEntries);
    populate(trash, QStringLiteral("trashed"), kTrashEntries, kTrashEntries / 1000 * kFoldersPer1000);
    measureBuild(trash);
    measureRefresh(trash);
    measureLatency(trash, staging);
    measureManySubFolders(trash, staging);
    measureCollidingNames(root.filePath(QStringLiteral("colliding")));
    measureCollidingNamesUnderSeedZero(root.filePath(QStringLiteral("colliding-seed-0")));
    return 0;
}
