#include "watching/DirectoryWatcher.h"

#include "WatchingLogSpy.h"
#include "platform/Delays.h"
#include "support/TestSandbox.h"
#include "watching/DirectoryWatcherDelegate.h"

#include <QDir>
#include <QTest>

using namespace Qt::StringLiterals;

// Each test watches a folder of its own; the test is the watcher's delegate and keeps
// the reported paths relative to that folder.
class tst_DirectoryWatcher : public QObject, DirectoryWatcherDelegate
{
    Q_OBJECT
    std::unique_ptr<TestSandbox> m_sandbox;
    std::unique_ptr<DirectoryWatcher> m_watcher;
    QString m_folder;
    QString m_staging;
    QStringList m_reported;
    int m_round = 0;

    void onAddedAppWithPath(const QString &path) override { m_reported.append(path.mid(m_folder.size() + 1)); }
    DirectoryWatcher &start()
    {
        m_watcher = std::make_unique<DirectoryWatcher>(m_folder);
        m_watcher->setDelegate(this);
        return *m_watcher;
    }
    // Builds the item in staging (by default an application; else a folder holding
    // the apps and files, or a plain file for an empty name), then moves it in with one
    // rename, as a file manager moves an item to the Trash.
    void moveIn(const QString &name, const QStringList &apps = {QString()}, const QStringList &files = {})
    {
        const QString built = m_staging + u'/' + name;
        for (const QString &app : apps)
            TestSandbox::makeApp(QDir::cleanPath(built + u'/' + app), {});
        for (const QString &file : files)
            TestSandbox::makeFile(QDir::cleanPath(built + u'/' + file));
        QVERIFY(QDir().rename(built, m_folder + u'/' + name));
    }

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }
    void init()
    {
        ++m_round;
        m_folder = m_sandbox->path(u"watched-%1"_s.arg(m_round));
        m_staging = m_sandbox->path(u"staging-%1"_s.arg(m_round));
        QVERIFY(QDir().mkpath(m_folder) && QDir().mkpath(m_staging));
        m_reported.clear();
    }
    void cleanup() { m_watcher.reset(); }

    // Each change restarts the wait, so a burst of ten leads to one refresh after its
    // last event, even when the burst lasts longer than the wait. The changes are paced
    // at a quarter of the wait (the one place where time must pass between two steps),
    // and the wait is made longer here so that a busy machine cannot stretch a gap past it.
    void refreshesOnceAfterABurstOfEvents()
    {
        Delays::setTestDivisor(4);
        const auto restore = qScopeGuard([] { Delays::setTestDivisor(TestSandbox::kDelayDivisor); });
        WatchingLogSpy log;
        start();
        for (int event = 0; event < 10; ++event) {
            const int heard = log.count(u"change "_s);
            if (event == 5)
                moveIn(u"Burst.app"_s);
            else
                moveIn(u"file-%1"_s.arg(event), {}, {QString()});
            // Wait until the watcher has heard this change before making the next one.
            QTRY_VERIFY_WITH_TIMEOUT(log.count(u"change "_s) > heard, 5000);
            QTest::qWait(Delays::scaledMs(Delays::kTrashDebounce) / 4);
        }
        QCOMPARE(log.count(u"refresh of "_s), 0);
        QTRY_COMPARE_WITH_TIMEOUT(m_reported, QStringList{u"Burst.app"_s}, 5000);
        QCOMPARE(log.count(u"refresh of "_s), 1);
    }

    // Entries present at start are never reported, nor are removals. An application
    // directly in a moved folder is reported twice: by the refresh (the folder comes
    // with its immediate entries) and by the folder search. Here the refresh reports
    // the three applications lying in the folder; the searches (of the folder, then of
    // its sub-folder, as late as any search of an entry found at start would have run)
    // report the fourth after them. Files are ignored, and no search enters an app.
    void reportsAppsOfAMovedFolderTwiceLevelByLevel()
    {
        for (const QString &app : {u"Present.app"_s, u"Old/Inside.app"_s, u"Old/Deeper/Deep.app"_s, u"Gone.app"_s, u"Away/In.app"_s})
            TestSandbox::makeApp(m_folder + u'/' + app, {});
        start();
        QVERIFY(QDir(m_folder + u"/Gone.app"_s).removeRecursively());
        QVERIFY(QDir().rename(m_folder + u"/Away"_s, m_staging + u"/Away"_s));
        const QStringList apps{u"One.app"_s, u"Two.app"_s, u"Outer.app"_s, u"Sub/Three.app"_s};
        moveIn(u"Folder"_s, apps + QStringList{u"Outer.app/Inner.app"_s, u"Outer.app/Contents/Helper.app"_s}, {u"readme.txt"_s});
        QTRY_COMPARE_WITH_TIMEOUT(m_reported.size(), 8, 5000);
        QVERIFY2(m_reported.indexOf(u"Folder/Sub/Three.app"_s) > 2, qPrintable(m_reported.join(u' ')));
        for (const QString &app : apps)
            QCOMPARE(m_reported.count(u"Folder/"_s + app), 2);
        QVERIFY(!m_watcher->getFileItemWithPath(m_folder + u"/Away"_s));
        moveIn(u"Sentinel.app"_s);
        QTRY_COMPARE_WITH_TIMEOUT(m_reported.size(), 9, 5000);
        QCOMPARE(m_reported.last(), u"Sentinel.app"_s);
    }

    // Applications moved in as soon as the directory exists again are reported, and so
    // is one named like an entry the deleted directory held.
    void followsTheDirectoryDeletedAndMadeAgain()
    {
        TestSandbox::makeApp(m_folder + u"/Present.app"_s, {});
        DirectoryWatcher &watcher = start();
        QVERIFY(QDir(m_folder).removeRecursively());
        QTRY_COMPARE_WITH_TIMEOUT(watcher.getFollowedAncestor(), m_sandbox->home(), 5000);
        QVERIFY(QDir().mkpath(m_folder));
        moveIn(u"Present.app"_s);
        moveIn(u"New.app"_s);
        QTRY_COMPARE_WITH_TIMEOUT(m_reported.size(), 2, 5000);
        QVERIFY(m_reported.contains(u"Present.app"_s) && m_reported.contains(u"New.app"_s));

        // Deleted and made again before the watcher heard of it: the same.
        QVERIFY(QDir(m_folder).removeRecursively() && QDir().mkpath(m_folder));
        moveIn(u"Quick.app"_s);
        QTRY_COMPARE_WITH_TIMEOUT(m_reported.size(), 3, 5000);
        QCOMPARE(m_reported.last(), u"Quick.app"_s);
        moveIn(u"Sentinel.app"_s);
        QTRY_COMPARE_WITH_TIMEOUT(m_reported.size(), 4, 5000);
        QCOMPARE(m_reported.last(), u"Sentinel.app"_s);
    }

    // As a whole Trash (Trash/files) deleted and made again with mkdir -p: the watcher
    // waits in the nearest folder that exists and moves down as the folders come back.
    void followsDownAsFoldersAboveAreMadeAgain()
    {
        const QString base = m_sandbox->path(u"nest-%1"_s.arg(m_round));
        const QString trash = base + u"/Trash"_s;
        m_folder = trash + u"/files"_s;
        QVERIFY(QDir().mkpath(m_folder));
        DirectoryWatcher &watcher = start();
        QVERIFY(QDir(trash).removeRecursively());
        QTRY_COMPARE_WITH_TIMEOUT(watcher.getFollowedAncestor(), base, 5000);
        QVERIFY(QDir().mkdir(trash));
        QTRY_COMPARE_WITH_TIMEOUT(watcher.getFollowedAncestor(), trash, 5000);
        QVERIFY(QDir().mkdir(m_folder));
        moveIn(u"Back.app"_s);
        QTRY_COMPARE_WITH_TIMEOUT(m_reported, QStringList{u"Back.app"_s}, 5000);

        QVERIFY(QDir(trash).removeRecursively());
        QTRY_COMPARE_WITH_TIMEOUT(watcher.getFollowedAncestor(), base, 5000);
        QVERIFY(QDir().mkpath(m_folder));
        moveIn(u"Again.app"_s);
        QTRY_COMPARE_WITH_TIMEOUT(m_reported, (QStringList{u"Back.app"_s, u"Again.app"_s}), 5000);
    }

    // A directory renamed away and back brings its entries with it: they are not new,
    // but what arrived while it was away is.
    void keepsWhatARenamedDirectoryHeld()
    {
        TestSandbox::makeApp(m_folder + u"/Present.app"_s, {});
        DirectoryWatcher &watcher = start();
        const QString away = m_folder + u"-away"_s;
        QVERIFY(QDir().rename(m_folder, away));
        QTRY_COMPARE_WITH_TIMEOUT(watcher.getFollowedAncestor(), m_sandbox->home(), 5000);
        TestSandbox::makeApp(away + u"/Elsewhere.app"_s, {});
        QVERIFY(QDir().rename(away, m_folder));
        QTRY_VERIFY_WITH_TIMEOUT(watcher.getFollowedAncestor().isNull(), 5000);
        moveIn(u"Sentinel.app"_s);
        QTRY_VERIFY_WITH_TIMEOUT(m_reported.contains(u"Sentinel.app"_s), 5000);
        QCOMPARE(m_reported.count(u"Present.app"_s), 0);
        QCOMPARE(m_reported.count(u"Elsewhere.app"_s), 1);
    }
};

QTEST_GUILESS_MAIN(tst_DirectoryWatcher)
#include "tst_DirectoryWatcher.moc"
