#include "TestSandbox.h"
#include "remains/BundleExcludeList.h"
#include "remains/SystemSkipList.h"

#include <QTest>

// The two exclusion lists: protected bundle identifiers and skipped personal data.
class tst_BundleExcludeList : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void protectsOnlyTheTwoApplications();
    void skipListMatchesWholePathsOnly();

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

void tst_BundleExcludeList::initTestCase()
{
    m_sandbox = std::make_unique<TestSandbox>();
}

void tst_BundleExcludeList::protectsOnlyTheTwoApplications()
{
    const BundleExcludeList &list = BundleExcludeList::GetInstance();
    QVERIFY(list.isSystemBundleID(QStringLiteral("COM.CORBELLE.TARNWICKS")));
    QVERIFY(list.isSystemBundleID(QStringLiteral("com.corbelle.Tarnwick-HelperS"), false));
    QVERIFY(!list.isSystemBundleID(QStringLiteral("com.corbelle.TarnwickS.extra")));
    QVERIFY(!list.isSystemBundleID(QStringLiteral("com.apple.Safari"), true));
    QVERIFY(!list.isSystemBundleID(QStringLiteral("com.apple.Safari"), false));
    QVERIFY(!list.isSystemBundleID(QString()));
}

void tst_BundleExcludeList::skipListMatchesWholePathsOnly()
{
    SystemSkipList &skip = SystemSkipList::shared();
    const QString calendars = m_sandbox->home() + QStringLiteral("/Library/Calendars");
    QVERIFY(skip.contains(calendars));
    QVERIFY(skip.contains(m_sandbox->home() + QStringLiteral("/Library/Application Support/AddressBook")));
    QVERIFY(skip.contains(m_sandbox->home() + QStringLiteral("/Library/Preferences/com.apple.AddressBook.plist")));
    QVERIFY(!skip.contains(calendars + QStringLiteral("/Home.calendar")));
    QVERIFY(!skip.contains(calendars + QLatin1Char('/')));
    QVERIFY(!skip.contains(calendars.toLower()));

    skip.clearContent();
    QVERIFY(!skip.contains(calendars));
    skip.addPath(calendars);
    QVERIFY(skip.contains(calendars));
}

QTEST_GUILESS_MAIN(tst_BundleExcludeList)
#include "tst_BundleExcludeList.moc"
