#include "TestSandbox.h"
#include "remains/BundleExcludeList.h"
#include "remains/SystemSkipList.h"

#include <QTest>

// The two exclusion lists: protected bundle identifiers and skipped personal data.
class tst_BundleExcludeList : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }

    // The main application's and the helper's identifiers, in any case, and nothing else.
    void protectsOnlyTheTwoApplications()
    {
        const BundleExcludeList &list = BundleExcludeList::GetInstance();
        QVERIFY(list.isSystemBundleID("COM.CORBELLE.TARNWICKS") && list.isSystemBundleID("com.corbelle.Tarnwick-HelperS", false));
        for (const QString &other : {QString("com.corbelle.TarnwickS.extra"), QString("com.apple.Safari"), QString()})
            QVERIFY2(!list.isSystemBundleID(other, true) && !list.isSystemBundleID(other, false), qPrintable(other));
    }

    void skipListMatchesWholePathsOnly()
    {
        SystemSkipList &skip = SystemSkipList::shared();
        const QString library = m_sandbox->home() + "/Library/";
        for (const char *skipped : {"Calendars", "Application Support/AddressBook", "Preferences/com.apple.AddressBook.plist"})
            QVERIFY2(skip.contains(library + skipped), skipped);
        for (const QString &kept : {library + "Calendars/Home.calendar", library + "Calendars/", library.toLower() + "calendars"})
            QVERIFY2(!skip.contains(kept), qPrintable(kept));
        skip.clearContent();
        QVERIFY(!skip.contains(library + "Calendars"));
        skip.addPath(library + "Calendars");
        QVERIFY(skip.contains(library + "Calendars"));
    }

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_BundleExcludeList)
#include "tst_BundleExcludeList.moc"
