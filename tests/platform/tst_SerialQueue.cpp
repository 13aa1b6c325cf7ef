#include "platform/DispatchGroup.h"
#include "platform/SerialQueue.h"

#include <QFile>
#include <QTest>
#include <QThread>

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

using namespace std::chrono_literals;

class tst_SerialQueue : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void runsTasksInOrderOnItsNamedThread();
    void destructionDropsWhatHasNotStarted();
    void groupWaitsAndNotifies();
    void groupMayGoAsSoonAsItsWaitReturns();
    void notifyOnMainAndOnAGoneQueue();
};

void tst_SerialQueue::runsTasksInOrderOnItsNamedThread()
{
    SerialQueue queue(QStringLiteral("ObjectsProcessor work queue"));
    std::mutex lock;
    std::vector<int> order;
    QByteArray threadName;
    std::atomic<bool> onQueue{false};
    for (int i = 0; i < 100; ++i)
        queue.async([&, i] {
            std::lock_guard guard(lock);
            order.push_back(i);
        });
    DispatchGroup done;
    done.enter();
    queue.async([&] {
        onQueue = queue.isCurrent();
        QFile comm(QStringLiteral("/proc/thread-self/comm"));
        if (comm.open(QIODevice::ReadOnly))
            threadName = comm.readAll().trimmed();
        done.leave();
    });
    QVERIFY(done.wait(5000ms));
    QVERIFY(onQueue);
    QVERIFY(!queue.isCurrent());
    QCOMPARE(threadName, QByteArray("ObjectsProcesso")); // Linux keeps 15 characters
    std::lock_guard guard(lock);
    QCOMPARE(order.size(), std::size_t(100));
    QVERIFY(std::is_sorted(order.begin(), order.end()));
}

void tst_SerialQueue::destructionDropsWhatHasNotStarted()
{
    std::atomic<int> ran{0};
    DispatchGroup started;
    started.enter();
    {
        SerialQueue queue(QStringLiteral("test queue"));
        queue.async([&] {
            started.leave();
            QThread::msleep(50);
            ++ran;
        });
        for (int i = 0; i < 10; ++i)
            queue.async([&] { ++ran; });
        QVERIFY(started.wait(5000ms));
    }
    // The running task finished; the ten waiting ones were dropped.
    QCOMPARE(ran.load(), 1);
}

void tst_SerialQueue::groupWaitsAndNotifies()
{
    auto queue = std::make_shared<SerialQueue>(QStringLiteral("group test"));
    DispatchGroup group;
    QVERIFY(group.wait(0ms));
    group.enter();
    group.enter();
    QVERIFY(!group.wait(0ms));
    std::atomic<int> notified{0};
    group.notify(queue, [&] { ++notified; });
    group.leave();
    QVERIFY(!group.wait(10ms));
    QCOMPARE(notified.load(), 0);
    group.leave();
    QVERIFY(group.wait(0ms));
    QTRY_COMPARE_WITH_TIMEOUT(notified.load(), 1, 5000);
    // An empty group notifies at once; extra leaves do not go below zero.
    group.leave();
    group.notify(queue, [&] { ++notified; });
    QTRY_COMPARE_WITH_TIMEOUT(notified.load(), 2, 5000);
    group.enter();
    QVERIFY(!group.wait(0ms));
    group.leave();
}

// The waiter destroys the group the moment its wait returns, while the leaving thread
// may still be inside leave(): the group must not touch itself after releasing the
// waiter. Under ThreadSanitizer (tools/tsan.sh) a late wake-up is reported here.
void tst_SerialQueue::groupMayGoAsSoonAsItsWaitReturns()
{
    SerialQueue queue(QStringLiteral("group lifetime"));
    for (int i = 0; i < 200; ++i) {
        auto group = std::make_unique<DispatchGroup>();
        group->enter();
        queue.async([raw = group.get()] { raw->leave(); });
        QVERIFY(group->wait(5000ms));
    }
}

void tst_SerialQueue::notifyOnMainAndOnAGoneQueue()
{
    DispatchGroup group;
    group.enter();
    bool onMain = false;
    group.notifyOnMain([&] { onMain = QThread::currentThread() == QCoreApplication::instance()->thread(); });
    bool ranOnGoneQueue = false;
    {
        auto queue = std::make_shared<SerialQueue>(QStringLiteral("short-lived"));
        group.notify(queue, [&] { ranOnGoneQueue = true; });
    }
    std::thread([&] { group.leave(); }).join();
    QTRY_VERIFY_WITH_TIMEOUT(onMain, 5000);
    QVERIFY(!ranOnGoneQueue);
}

QTEST_GUILESS_MAIN(tst_SerialQueue)
#include "tst_SerialQueue.moc"
