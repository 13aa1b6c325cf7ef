#include "platform/ByteCountFormatter.h"

#include <QTest>

class tst_ByteCountFormatter : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void formatsInFileStyle_data();
    void formatsInFileStyle();
};

void tst_ByteCountFormatter::formatsInFileStyle_data()
{
    QTest::addColumn<quint64>("bytes");
    QTest::addColumn<QString>("text");
    QTest::newRow("zero") << quint64(0) << QStringLiteral("Zero KB");
    QTest::newRow("one") << quint64(1) << QStringLiteral("1 byte");
    QTest::newRow("below a kilobyte") << quint64(999) << QStringLiteral("999 bytes");
    QTest::newRow("one kilobyte") << quint64(1000) << QStringLiteral("1 KB");
    QTest::newRow("kilobytes round to whole") << quint64(1500) << QStringLiteral("2 KB");
    QTest::newRow("rounds up into megabytes") << quint64(999999) << QStringLiteral("1 MB");
    QTest::newRow("megabytes with one decimal") << quint64(1234567) << QStringLiteral("1.2 MB");
    QTest::newRow("whole megabyte drops .0") << quint64(1000000) << QStringLiteral("1 MB");
    QTest::newRow("gigabytes with two decimals") << quint64(1250000000) << QStringLiteral("1.25 GB");
    QTest::newRow("trailing zero dropped") << quint64(1200000000) << QStringLiteral("1.2 GB");
    QTest::newRow("terabytes") << quint64(3456000000000) << QStringLiteral("3.46 TB");
    QTest::newRow("largest count") << quint64(18446744073709551615ULL) << QStringLiteral("18.45 EB");
}

void tst_ByteCountFormatter::formatsInFileStyle()
{
    QFETCH(quint64, bytes);
    QFETCH(QString, text);
    QCOMPARE(ByteCountFormatter::stringFromByteCount(bytes), text);
}

QTEST_GUILESS_MAIN(tst_ByteCountFormatter)
#include "tst_ByteCountFormatter.moc"
