// Trash watching under load: a Trash of 50,000 entries.
//
// Prints the time and memory to build the Trash's tree, the time to refresh it after
// 1,000 entries arrive next to the time of one plain directory read of the same
// folder, and the latency from the last file-system event to the report of an
// application, minus the debounce. Uses the shipped delays.
//
// Times are given as the thread's CPU time (user and system), which a busy machine
// does not inflate, with the wall-clock time beside it.
//
// Usage: trash_tree_bench [folder for the temporary home]   (default: the temp folder)

#include "core/PathsGenerator.h"
#include "platform/Delays.h"
#include "platform/PropertyList.h"
#include "platform/UserDatabase.h"
#include "watching/AppsInTrashWatcher.h"
#include "watching/AppsInTrashWatcherListener.h"
#include "watching/DirectoryWatcher.h"
#include "watching/FileItem.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <dirent.h>
#include <malloc.h>
#include <sys/resource.h>
#include <ctime>
#include <vector>

namespace {

constexpr int kTrashEntries = 50000;
constexpr int kFoldersPer1000 = 50;   // the Trash holds folders as well as files
constexpr int kArrivals = 1000;
constexpr int kArrivingFolders = 100; // each with two files inside
constexpr int kRefreshRounds = 3;
constexpr int kListingRuns = 5;
constexpr int kLatencyRuns = 5;

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

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QString base = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QDir::tempPath();
    QTemporaryDir root(base + QStringLiteral("/trash-bench-XXXXXX"));
    if (!root.isValid()) {
        std::fprintf(stderr, "cannot make a folder in %s\n", qPrintable(base));
        return 1;
    }
    UserDatabase::setHomeOverride(root.filePath(QStringLiteral("home")));
    const QString trash = PathsGenerator::GetInstance().buildTrashDirectory();
    const QString staging = root.filePath(QStringLiteral("home/staging"));
    QDir().mkpath(staging);

    std::printf("populating %s with %d entries...\n", qPrintable(trash), kTrashEntries);
    populate(trash, QStringLiteral("trashed"), kTrashEntries, kTrashEntries / 1000 * kFoldersPer1000);
    measureBuild(trash);
    measureRefresh(trash);
    measureLatency(trash, staging);
    return 0;
}
