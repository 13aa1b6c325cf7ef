// The cold presenter, with figures: for each run a new application bundle in the Trash
// of a sandbox home is handed to the agent's presenter link with no presenter running;
// it prints the time from the arrival until the presenter says its window shows, and
// the presenter's resident and proportional memory while the window is up; then the
// presenter is ended and the next run starts cold again. It needs a display (DISPLAY)
// or a chosen platform (QT_QPA_PLATFORM), and exits with 1 when a window never showed.
//
// usage: bench_PresenterLatency PRESENTER [RUNS]   (default 10)

#include "TestSandbox.h"
#include "agent/PresenterLink.h"
#include "platform/Delays.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTest>

#include <algorithm>
#include <csignal>
#include <cstdio>

namespace {

constexpr int kTimeoutMs = 30000;

// A field of /proc/PID/smaps_rollup, in kilobytes.
qint64 rollupKilobytes(qint64 pid, const QByteArray &field)
{
    QFile rollup(QStringLiteral("/proc/%1/smaps_rollup").arg(pid));
    const QByteArray text = rollup.open(QIODevice::ReadOnly) ? rollup.readAll() : QByteArray();
    const qsizetype at = text.indexOf('\n' + field + ':');
    if (at < 0)
        return -1;
    return text.mid(at + field.size() + 2, text.indexOf('\n', at + 1) - at - field.size() - 2).trimmed().split(' ').first().toLongLong();
}

template <typename T>
T median(QList<T> values)
{
    std::sort(values.begin(), values.end());
    return values.isEmpty() ? T() : values.at(values.size() / 2);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: bench_PresenterLatency PRESENTER [RUNS]\n");
        return 2;
    }
    const int runs = argc > 2 ? std::max(1, std::atoi(argv[2])) : 10;
    TestSandbox sandbox;
    Delays::setTestDivisor(1);
    PresenterLink link;
    link.setExecutable(QString::fromLocal8Bit(argv[1]));
    bool shown = false;
    QObject::connect(&link, &PresenterLink::shown, &app, [&shown] { shown = true; });

    std::printf("%-4s %12s %10s %10s\n", "run", "arrival→shown", "RSS KiB", "PSS KiB");
    QList<qint64> times, rss, pss;
    for (int run = 1; run <= runs; ++run) {
        const QString name = QStringLiteral("Latency%1").arg(run);
        const QString bundle = TestSandbox::makeApp(sandbox.trash() + QStringLiteral("/%1.app").arg(name),
                                                    QStringLiteral("com.example.") + name, name);
        shown = false;
        QElapsedTimer clock;
        clock.start();
        link.present(PresenterLink::Kind::Bundle, bundle);
        if (!QTest::qWaitFor([&] { return shown; }, kTimeoutMs)) {
            std::printf("run %d: no window within %d ms\n", run, kTimeoutMs);
            return 1;
        }
        times << clock.elapsed();
        QTest::qWait(500); // the window settled, sizes measured
        const qint64 pid = link.presenterId();
        rss << rollupKilobytes(pid, "Rss");
        pss << rollupKilobytes(pid, "Pss");
        std::printf("%-4d %10lld ms %10lld %10lld\n", run, times.constLast(), rss.constLast(), pss.constLast());
        ::kill(pid_t(pid), SIGTERM);
        QTest::qWaitFor([&] { return link.presenterId() == 0; }, kTimeoutMs);
    }
    std::printf("median %8lld ms %10lld %10lld   (max %lld ms)\n", median(times), median(rss), median(pss),
                *std::max_element(times.begin(), times.end()));
    return 0;
}
