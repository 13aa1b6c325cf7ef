#include "platform/NotificationCenter.h"

#include <QTest>

class tst_NotificationCenter : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void deliversByNameAndSender()
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
        heard.clear();
        center.post("Written", &senderA);
        QCOMPARE(heard, QStringList{"from-a:Written"});
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
        QCOMPARE(second, 0);
        QCOMPARE(third, 0);
        center.post("Twice", nullptr);
        QCOMPARE(third, 1);
    }
};

QTEST_GUILESS_MAIN(tst_NotificationCenter)
#include "tst_NotificationCenter.moc"
