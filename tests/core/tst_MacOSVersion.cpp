#include "core/MacOSVersion.h"
#include "platform/PropertyList.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

class tst_MacOSVersion : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void comparesNumerically_data();
    void comparesNumerically();
    void unknownSystemAnswersYes();
    void testsAgainstAKnownSystem();
    void selfCheckPrintsMarkedLines();

private:
    QString versionList(const QString &version);
    QTemporaryDir m_dir;
};

QString tst_MacOSVersion::versionList(const QString &version)
{
    const QString path = m_dir.filePath(version + QStringLiteral(".plist"));
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(PropertyList::toData(QVariantMap{{QStringLiteral("ProductVersion"), version}}, PropertyList::Format::Xml));
    return path;
}

void tst_MacOSVersion::comparesNumerically_data()
{
    QTest::addColumn<QString>("a");
    QTest::addColumn<QString>("b");
    QTest::addColumn<int>("order");
    QTest::newRow("minor by value") << "10.10" << "10.9" << 1;
    QTest::newRow("longer is later") << "10.9" << "10.9.5" << -1;
    QTest::newRow("equal") << "10.12.6" << "10.12.6" << 0;
    QTest::newRow("leading zeros") << "10.09" << "10.9" << 0;
    QTest::newRow("major") << "11.0" << "10.15.7" << 1;
}

void tst_MacOSVersion::comparesNumerically()
{
    QFETCH(QString, a);
    QFETCH(QString, b);
    QFETCH(int, order);
    QCOMPARE(MacOSVersion::compareVersions(a, b), order);
    QCOMPARE(MacOSVersion::compareVersions(b, a), -order);
}

void tst_MacOSVersion::unknownSystemAnswersYes()
{
    const MacOSVersion &unknown = MacOSVersion::GetInstance();
    QVERIFY(unknown.version().isEmpty());
    QVERIFY(unknown.is_10_9_orHigher() && unknown.is_10_10_orHigher() && unknown.is_10_11_orHigher());
    QVERIFY(unknown.is_10_12_orHigher() && unknown.is_10_14_orHigher());
    QVERIFY(unknown.isMacOSHasVersion(QStringLiteral("99.0"), false, false));
}

void tst_MacOSVersion::testsAgainstAKnownSystem()
{
    const MacOSVersion mavericks(versionList(QStringLiteral("10.9.5")));
    QCOMPARE(mavericks.version(), QStringLiteral("10.9.5"));
    QVERIFY(mavericks.is_10_9_orHigher());
    QVERIFY(!mavericks.is_10_10_orHigher());
    QVERIFY(!mavericks.is_10_14_orHigher());
    QVERIFY(!mavericks.isMacOSHasVersion(QStringLiteral("10.10"), false, true));
    QVERIFY(mavericks.isMacOSHasVersion(QStringLiteral("10.10"), true, false));
    QVERIFY(!mavericks.isMacOSHasVersion(QStringLiteral("10.9"), true, false));
    QVERIFY(mavericks.isMacOSHasVersion(QStringLiteral("10.9.5"), false, false));
    QVERIFY(mavericks.isMacOSHasVersion(QStringLiteral("1.0"), true, true));
    QVERIFY(mavericks.isMacOSHasVersion(QString(), false, false));
}

void tst_MacOSVersion::selfCheckPrintsMarkedLines()
{
    const MacOSVersion yosemite(versionList(QStringLiteral("10.10")));
    const QStringList lines = yosemite.runTests();
    QVERIFY(lines.contains(QStringLiteral("> 10.9 = YES")));
    QVERIFY(lines.contains(QStringLiteral("< 10.9 = NO")));
    QVERIFY(lines.contains(QStringLiteral("10.10 = YES")));
    QVERIFY(lines.contains(QStringLiteral("> 10.10.4 = NO")));
}

QTEST_GUILESS_MAIN(tst_MacOSVersion)
#include "tst_MacOSVersion.moc"
