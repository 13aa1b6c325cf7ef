#include "platform/NotificationCenter.h"

#include <QTest>

class tst_NotificationCenter : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void deliversByNameAndSender();
    void observersMayLeaveWhileANotificationIsDelivered();
};

void tst_NotificationCenter::deliversByNameAndSender()
{
    NotificationCenter center;
    const int senderA = 0;
    const int senderB = 0;
    QStringList heard;
    const auto record = [&heard](const QString &who) {
        return [&heard, who](const Notification &n) { heard << who + QLatin1Char(':') + n.name; };
    };
    center.addObserver(this, QStringLiteral("Written"), nullptr, record(QStringLiteral("any-sender")));
    center.addObserver(&heard, QString(), &senderA, record(QStringLiteral("from-a")));
    center.post(QStringLiteral("Written"), &senderA, {{QStringLiteral("path"), QStringLiteral("/x")}});
    center.post(QStringLiteral("Deleted"), &senderB);
    QCOMPARE(heard, (QStringList{QStringLiteral("any-sender:Written"), QStringLiteral("from-a:Written")}));

    center.removeObserver(this);
    heard.clear();
    center.post(QStringLiteral("Written"), &senderA);
    QCOMPARE(heard, QStringList{QStringLiteral("from-a:Written")});
}

void tst_NotificationCenter::observersMayLeaveWhileANotificationIsDelivered()
{
    NotificationCenter center;
    int second = 0;
    int third = 0;
    center.addObserver(this, QString(), nullptr, [&](const Notification &) {
        center.removeObserver(&second);
        center.addObserver(&third, QString(), nullptr, [&third](const Notification &) { ++third; });
    });
    center.addObserver(&second, QString(), nullptr, [&second](const Notification &) { ++second; });
    center.post(QStringLiteral("Once"), nullptr);
    // The second observer left before its turn; the newcomer waits for the next post.
    QCOMPARE(second, 0);
    QCOMPARE(third, 0);
    center.post(QStringLiteral("Twice"), nullptr);
    QCOMPARE(third, 1);
}

QTEST_GUILESS_MAIN(tst_NotificationCenter)
#include "tst_NotificationCenter.moc"
