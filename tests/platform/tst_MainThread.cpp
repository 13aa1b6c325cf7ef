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
    void runsTasksLaterInTheOrderPosted();
    void runsTasksOfOtherThreadsOnTheMainThread();
};

void tst_MainThread::runsTasksLaterInTheOrderPosted()
{
    std::vector<int> order;
    for (int i = 0; i < 3; ++i)
        MainThread::async([&order, i] { order.push_back(i); });
    QVERIFY(order.empty()); // never inside the caller
    QTRY_COMPARE_WITH_TIMEOUT(order.size(), std::size_t(3), 5000);
    QCOMPARE(order, (std::vector<int>{0, 1, 2}));
}

// The worker is joined only after its tasks have run, so nothing but the hand-off
// itself orders what the worker wrote into a task before the main thread reads it;
// under ThreadSanitizer (tools/tsan.sh) a hand-off it cannot see is reported here
// (the main thread must pick a task up before the wake-up that follows it, hence
// many tasks).
void tst_MainThread::runsTasksOfOtherThreadsOnTheMainThread()
{
    constexpr int kTasks = 5000;
    std::atomic<int> ran{0};
    std::atomic<bool> allOnMain{true};
    std::vector<int> order;
    std::thread worker([&] {
        for (int i = 0; i < kTasks; ++i) {
            MainThread::async([&, i] {
                allOnMain = allOnMain && MainThread::isCurrent();
                order.push_back(i);
                ++ran;
            });
        }
    });
    QTRY_COMPARE_WITH_TIMEOUT(ran.load(), kTasks, 5000);
    worker.join();
    QVERIFY(allOnMain);
    QVERIFY(std::is_sorted(order.cbegin(), order.cend()));
    QCOMPARE(order.size(), std::size_t(kTasks));
}

QTEST_GUILESS_MAIN(tst_MainThread)
#include "tst_MainThread.moc"
