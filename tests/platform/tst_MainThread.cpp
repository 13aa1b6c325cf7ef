#include "platform/MainThread.h"

#include <QTest>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

class tst_MainThread : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    // The worker is joined only after its tasks have run, so nothing but the hand-off
    // itself orders what the worker wrote into a task before the main thread reads it;
    // under ThreadSanitizer (tools/tsan.sh) a hand-off it cannot see is reported here
    // (the main thread must pick a task up before the wake-up that follows it, hence
    // many tasks).
    void runsTasksLaterOnTheMainThreadInTheOrderPosted()
    {
        constexpr int kTasks = 5000;
        std::atomic<int> ran{0};
        std::atomic<bool> allOnMain{true};
        std::vector<int> order;
        const auto task = [&](int i) {
            return [&, i] {
                allOnMain = allOnMain && MainThread::isCurrent();
                order.push_back(i);
                ++ran;
            };
        };
        MainThread::async(task(-1));
        QCOMPARE(ran.load(), 0); // never inside the caller
        std::thread worker([&] {
            for (int i = 0; i < kTasks; ++i)
                MainThread::async(task(i));
        });
        QTRY_COMPARE_WITH_TIMEOUT(ran.load(), kTasks + 1, 5000);
        worker.join();
        QVERIFY(allOnMain);
        QVERIFY(std::is_sorted(order.cbegin(), order.cend()));
        QCOMPARE(order.size(), std::size_t(kTasks + 1));
    }
};

QTEST_GUILESS_MAIN(tst_MainThread)
#include "tst_MainThread.moc"
