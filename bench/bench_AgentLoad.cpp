// The whole agent under load, with figures: a warm-up burst, then bursts of
// application bundles moved into the Trash of a sandbox home at once; per burst, the
// reports, the notifications begun, the bundles gathered and the time from the first
// move until the notification held them all; resident memory and open descriptors
// and threads after the warm-up and after the bursts; and whether the agent still reports after
// its Trash was deleted and made again. It exits with 1 when a burst was not each
// reported once and gathered whole in one notification, or descriptors or threads
// were left behind.
//
// usage: bench_AgentLoad [BURSTS [SIZE [DIVISOR]]]   (default 10 100 1: product delays)

#include "AgentLoad.h"
#include "TestSandbox.h"
#include "platform/Delays.h"

#include <QApplication>
#include <QDir>

#include <cstdio>
#include <malloc.h>

namespace {

constexpr int kTimeoutMs = 300000;

int argumentOr(int argc, char **argv, int index, int fallback)
{
    return argc > index ? std::atoi(argv[index]) : fallback;
}

// Resident memory once glibc has handed back what it keeps for reuse.
qint64 trimmedResidentKilobytes()
{
    ::malloc_trim(0);
    return AgentLoad::residentKilobytes();
}

void printBurst(const char *label, const AgentLoad::Burst &burst, qint64 resident)
{
    std::printf("%-8s %6d %9d %6d %11d %9d %9lld %9lld%s\n", label, burst.moved, burst.reported, burst.extraReports,
                burst.gatherings, burst.gathered, static_cast<long long>(burst.milliseconds),
                static_cast<long long>(resident), burst.complete ? "" : "  (incomplete)");
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int bursts = argumentOr(argc, argv, 1, 10);
    const int size = argumentOr(argc, argv, 2, 100);
    TestSandbox sandbox;
    Delays::setTestDivisor(argumentOr(argc, argv, 3, 1));
    AgentLoad load(sandbox);

    std::printf("%d bursts of %d bundles, delays divided by %d\n\n", bursts, size, Delays::testDivisor());
    std::printf("%-8s %6s %9s %6s %11s %9s %9s %9s\n", "burst", "moved", "reported", "extra", "gatherings", "gathered",
                "ms", "RSS kB");
    const AgentLoad::Burst warmUp = load.runBurst(size, kTimeoutMs);
    const qint64 residentBefore = trimmedResidentKilobytes();
    const int descriptorsBefore = AgentLoad::openDescriptors();
    const int threadsBefore = AgentLoad::threadCount();
    printBurst("warm-up", warmUp, residentBefore);
    AgentLoad::Burst total;
    total.complete = true;
    for (int round = 1; round <= bursts; ++round) {
        const AgentLoad::Burst burst = load.runBurst(size, kTimeoutMs);
        printBurst(QByteArray::number(round).constData(), burst, trimmedResidentKilobytes());
        total.complete = total.complete && burst.complete;
        total.moved += burst.moved;
        total.reported += burst.reported;
        total.extraReports += burst.extraReports;
        total.gatherings += burst.gatherings;
        total.gathered += burst.gathered;
        total.milliseconds += burst.milliseconds;
    }
    const qint64 residentAfter = trimmedResidentKilobytes();
    printBurst("total", total, residentAfter);
    std::printf("\nresident memory: %lld kB after the warm-up, %lld kB after the bursts (%+.1f %%)\n",
                static_cast<long long>(residentBefore), static_cast<long long>(residentAfter),
                100.0 * double(residentAfter - residentBefore) / double(residentBefore));
    const int descriptorsAfter = AgentLoad::openDescriptors();
    const int threadsAfter = AgentLoad::threadCount();
    std::printf("open descriptors: %d after the warm-up, %d after the bursts\n", descriptorsBefore, descriptorsAfter);
    std::printf("threads: %d after the warm-up, %d after the bursts\n", threadsBefore, threadsAfter);

    QDir(sandbox.home() + QStringLiteral("/.local/share/Trash")).removeRecursively();
    const bool shownAfterDeletion = load.isShownWhenTrashed(QStringLiteral("AfterDeletion"), kTimeoutMs);
    std::printf("Trash deleted, then made again by the next trashing: %s\n", shownAfterDeletion ? "reported and shown" : "MISSED");
    const int expected = bursts * size;
    const bool whole = total.complete && total.reported == expected && total.extraReports == 0 &&
                       total.gatherings == bursts && total.gathered == expected;
    const bool nothingLeft = descriptorsAfter == descriptorsBefore && threadsAfter == threadsBefore;
    return whole && nothingLeft && shownAfterDeletion ? 0 : 1;
}
