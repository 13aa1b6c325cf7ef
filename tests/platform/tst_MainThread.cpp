#include "platform/MainThread.h"
#include "platform/NotificationCenter.h"

#include <QTest>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

// The main thread's services: tasks handed to it and the notification centre that
// delivers on it.
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
        std::atomic<bool> allOnMain{true};
        std::vector<int> order;
        const auto task = [&](int i) {
            return [&, i] {
                allOnMain = allOnMain && MainThread::isCurrent();
                order.push_back(i);
            };
        };
        MainThread::async(task(-1));
        QVERIFY(order.empty()); // never inside the caller
        std::thread worker([&] {
            for (int i = 0; i < kTasks; ++i)
                MainThread::async(task(i));
        });
        QTRY_COMPARE_WITH_TIMEOUT(order.size(), std::size_t(kTasks + 1), 5000);
        worker.join();
        QVERIFY(allOnMain);
        QVERIFY(std::is_sorted(order.cbegin(), order.cend()));
    }

    void notificationsGoByNameAndSender()
    {
        NotificationCenter center;
        const int senderA = 0;
        const int senderB = 0;
        QStringList heard;
        center.addObserver(this, "Written", nullptr, [&](const Notification &n) { heard << "any-sender:" + n.name; });
        center.addObserver(&heard, QString(), &senderA, [&](const Notification &n) { heard << "from-a:" + n.name; });
        center.post("Written", &senderA, {{"path", "/x"}});
        center.post("Deleted", &senderB);
        QCOMPARE(heard, (QStringList{"any-sender:Written", "from-a:Written"}));
        center.removeObserver(this);
        center.post("Written", &senderA);
        QCOMPARE(heard.mid(2), QStringList{"from-a:Written"});
    }

    void observersMayLeaveWhileANotificationIsDelivered()
    {
        NotificationCenter center;
        int second = 0;
        int third = 0;
        center.addObserver(this, QString(), nullptr, [&](const Notification &) {
            center.removeObserver(&second);
            center.addObserver(&third, QString(), nullptr, [&third](const Notification &) { ++third; });
        });
        center.addObserver(&second, QString(), nullptr, [&second](const Notification &) { ++second; });
        center.post("Once", nullptr);
        // The second observer left before its turn; the newcomer waits for the next post.
        QVERIFY(second == 0 && third == 0);
        center.post("Twice", nullptr);
        QCOMPARE(third, 1);
    }
};

QTEST_GUILESS_MAIN(tst_MainThread)
#include "tst_MainThread.moc"
