#include "core/MacOSVersion.h"
#include "platform/PropertyList.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_MacOSVersion : public QObject
{
    Q_OBJECT
    QTemporaryDir m_dir;

    // A system version list naming the version.
    QString versionList(const QString &version)
    {
        QFile file(m_dir.filePath(version + u".plist"_s));
        if (file.open(QIODevice::WriteOnly))
            file.write(PropertyList::toData(QVariantMap{{u"ProductVersion"_s, version}}, PropertyList::Format::Xml));
        return file.fileName();
    }

private Q_SLOTS:
    // Component by component, by value; a missing component ranks below any.
    void comparesNumerically()
    {
        const struct { const char16_t *a; const char16_t *b; int order; } cases[] = {
            {u"10.10", u"10.9", 1}, {u"10.9", u"10.9.5", -1}, {u"10.12.6", u"10.12.6", 0}, {u"10.09", u"10.9", 0}, {u"11.0", u"10.15.7", 1}};
        for (const auto &c : cases) {
            QCOMPARE(MacOSVersion::compareVersions(QString::fromUtf16(c.a), QString::fromUtf16(c.b)), c.order);
            QCOMPARE(MacOSVersion::compareVersions(QString::fromUtf16(c.b), QString::fromUtf16(c.a)), -c.order);
        }
    }

    // Where no version can be read (every Linux system), every test answers yes.
    void unknownSystemAnswersYes()
    {
        const MacOSVersion &unknown = MacOSVersion::GetInstance();
        QVERIFY(unknown.version().isEmpty());
        QVERIFY(unknown.is_10_9_orHigher() && unknown.is_10_10_orHigher() && unknown.is_10_11_orHigher());
        QVERIFY(unknown.is_10_12_orHigher() && unknown.is_10_14_orHigher());
        QVERIFY(unknown.isMacOSHasVersion(u"99.0"_s, false, false));
    }

    void testsAgainstAKnownSystem()
    {
        const MacOSVersion mavericks(versionList(u"10.9.5"_s));
        QCOMPARE(mavericks.version(), u"10.9.5"_s);
        QVERIFY(mavericks.is_10_9_orHigher() && !mavericks.is_10_10_orHigher() && !mavericks.is_10_14_orHigher());
        QVERIFY(!mavericks.isMacOSHasVersion(u"10.10"_s, false, true) && mavericks.isMacOSHasVersion(u"10.10"_s, true, false));
        QVERIFY(!mavericks.isMacOSHasVersion(u"10.9"_s, true, false) && mavericks.isMacOSHasVersion(u"10.9.5"_s, false, false));
        QVERIFY(mavericks.isMacOSHasVersion(u"1.0"_s, true, true) && mavericks.isMacOSHasVersion(QString(), false, false));
        const QStringList lines = MacOSVersion(versionList(u"10.10"_s)).runTests();
        for (const QString &line : {u"> 10.9 = YES"_s, u"< 10.9 = NO"_s, u"10.10 = YES"_s, u"> 10.10.4 = NO"_s})
            QVERIFY2(lines.contains(line), qPrintable(line));
    }
};

QTEST_GUILESS_MAIN(tst_MacOSVersion)
#include "tst_MacOSVersion.moc"
