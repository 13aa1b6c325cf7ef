#include "watching/DirectoryWatcher.h"

#include "WatchingLogSpy.h"
#include "platform/Delays.h"
#include "support/TestSandbox.h"
#include "watching/DirectoryWatcherDelegate.h"
#include "watching/FileItem.h"

#include <QDir>
#include <QFile>
#include <QTest>

namespace {

// Keeps the reported paths relative to the watched folder.
class Recorder : public DirectoryWatcherDelegate
{
public:
    explicit Recorder(QString folder) : m_folder(std::move(folder)) {}
    void onAddedAppWithPath(const QString &path) override { reported.append(path.mid(m_folder.size() + 1)); }
    QStringList reported;

private:
    QString m_folder;
};

} // namespace

class tst_DirectoryWatcher : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void reportsAnAppMovedInOnce();
    void refreshesOnceAfterABurstOfEvents();
    void reportsAnAppDirectlyInAMovedFolderTwice();
    void searchesAMovedFolderLevelByLevel();
    void neverEntersAnApplication();
    void neverReportsWhatWasThereAtStart();
    void staysSilentOnRemovals();
    void findsItsNodesByPath();
    void idlesOnAMissingDirectory();
    void followsTheDirectoryDeletedAndMadeAgain();
    void followsDownAsFoldersAboveAreMadeAgain();
    void keepsWhatARenamedDirectoryHeld();

private:
    // Builds the item in a staging folder, then moves it in with one rename, as a
    // file manager moves an item to the Trash.
    void moveIn(const QString &name, const std::function<void(const QString &)> &build);
    void moveInApp(const QString &name) { moveIn(name, [](const QString &path) { TestSandbox::makeApp(path, {}); }); }

    std::unique_ptr<TestSandbox> m_sandbox;
    QString m_folder;
    QString m_staging;
    int m_round = 0;
};

void tst_DirectoryWatcher::initTestCase()
{
    m_sandbox = std::make_unique<TestSandbox>();
}

void tst_DirectoryWatcher::init()
{
    ++m_round;
    m_folder = m_sandbox->path(QStringLiteral("watched-%1").arg(m_round));
    m_staging = m_sandbox->path(QStringLiteral("staging-%1").arg(m_round));
    QDir().mkpath(m_folder);
    QDir().mkpath(m_staging);
}

void tst_DirectoryWatcher::moveIn(const QString &name, const std::function<void(const QString &)> &build)
{
    build(m_staging + QLatin1Char('/') + name);
    QVERIFY(QDir().rename(m_staging + QLatin1Char('/') + name, m_folder + QLatin1Char('/') + name));
}

void tst_DirectoryWatcher::reportsAnAppMovedInOnce()
{
    DirectoryWatcher watcher(m_folder);
    Recorder recorder(m_folder);
    watcher.setDelegate(&recorder);
    QVERIFY(watcher.isWatching());
    QCOMPARE(watcher.getPath(), m_folder);

    moveInApp(QStringLiteral("Moved.app"));
    QTRY_COMPARE_WITH_TIMEOUT(recorder.reported, QStringList{QStringLiteral("Moved.app")}, 5000);
    moveInApp(QStringLiteral("Sentinel.app"));
    QTRY_COMPARE_WITH_TIMEOUT(recorder.reported,
                              (QStringList{QStringLiteral("Moved.app"), QStringLiteral("Sentinel.app")}), 5000);
}

// Each change restarts the wait, so a burst leads to one refresh after its last event,
// even when the burst lasts longer than the wait. The changes are paced at a quarter
// of the wait (the one place where time must pass between two steps), and the wait is
// made longer here than elsewhere so that a busy machine cannot stretch a gap past it.
void tst_DirectoryWatcher::refreshesOnceAfterABurstOfEvents()
{
    Delays::setTestDivisor(4);
    const int pace = Delays::scaledMs(Delays::kTrashDebounce) / 4;
    const auto restore = qScopeGuard([] { Delays::setTestDivisor(TestSandbox::kDelayDivisor); });
    WatchingLogSpy log;
    DirectoryWatcher watcher(m_folder);
    Recorder recorder(m_folder);
    watcher.setDelegate(&recorder);

    for (int event = 0; event < 10; ++event) {
        const int heard = log.count(QStringLiteral("change "));
        if (event == 5)
            moveInApp(QStringLiteral("Burst.app"));
        else
            moveIn(QStringLiteral("file-%1").arg(event), [](const QString &path) { TestSandbox::makeFile(path); });
        // Wait until the watcher has heard this change before making the next one.
        QTRY_VERIFY_WITH_TIMEOUT(log.count(QStringLiteral("change ")) > heard, 5000);
        QTest::qWait(pace);
    }
    QCOMPARE(log.count(QStringLiteral("refresh of ")), 0);
    QTRY_COMPARE_WITH_TIMEOUT(recorder.reported, QStringList{QStringLiteral("Burst.app")}, 5000);
    QCOMPARE(log.count(QStringLiteral("refresh of ")), 1);
}

// Once with the refresh (the folder comes with its immediate entries) and once more
// by the folder search.
void tst_DirectoryWatcher::reportsAnAppDirectlyInAMovedFolderTwice()
{
    DirectoryWatcher watcher(m_folder);
    Recorder recorder(m_folder);
    watcher.setDelegate(&recorder);
    moveIn(QStringLiteral("Folder"), [](const QString &path) { TestSandbox::makeApp(path + QStringLiteral("/A.app"), {}); });
    QTRY_COMPARE_WITH_TIMEOUT(recorder.reported.size(), 2, 5000);
    QCOMPARE(recorder.reported, QStringList(2, QStringLiteral("Folder/A.app")));
}

// The refresh reports the two applications lying in the folder; the searches (of the
// folder, then of its sub-folder) report the third after them. Files are ignored.
void tst_DirectoryWatcher::searchesAMovedFolderLevelByLevel()
{
    DirectoryWatcher watcher(m_folder);
    Recorder recorder(m_folder);
    watcher.setDelegate(&recorder);
    moveIn(QStringLiteral("Folder"), [](const QString &path) {
        TestSandbox::makeApp(path + QStringLiteral("/One.app"), {});
        TestSandbox::makeApp(path + QStringLiteral("/Two.app"), {});
        TestSandbox::makeFile(path + QStringLiteral("/readme.txt"));
        TestSandbox::makeApp(path + QStringLiteral("/Sub/Three.app"), {});
    });
    QTRY_COMPARE_WITH_TIMEOUT(recorder.reported.size(), 6, 5000);

    const QStringList firstTwo = recorder.reported.mid(0, 2);
    QVERIFY2(firstTwo.contains(QStringLiteral("Folder/One.app")) && firstTwo.contains(QStringLiteral("Folder/Two.app")),
             qPrintable(recorder.reported.join(u' ')));
    QVERIFY(recorder.reported.indexOf(QStringLiteral("Folder/Sub/Three.app")) > 2);
    QCOMPARE(recorder.reported.count(QStringLiteral("Folder/One.app")), 2);
    QCOMPARE(recorder.reported.count(QStringLiteral("Folder/Two.app")), 2);
    QCOMPARE(recorder.reported.count(QStringLiteral("Folder/Sub/Three.app")), 2);

    moveInApp(QStringLiteral("Sentinel.app"));
    QTRY_COMPARE_WITH_TIMEOUT(recorder.reported.size(), 7, 5000);
    QCOMPARE(recorder.reported.last(), QStringLiteral("Sentinel.app"));
}

void tst_DirectoryWatcher::neverEntersAnApplication()
{
    DirectoryWatcher watcher(m_folder);
    Recorder recorder(m_folder);
    watcher.setDelegate(&recorder);
    moveIn(QStringLiteral("Folder"), [](const QString &path) {
        TestSandbox::makeApp(path + QStringLiteral("/Outer.app"), {});
        TestSandbox::makeApp(path + QStringLiteral("/Outer.app/Inner.app"), {});
        TestSandbox::makeApp(path + QStringLiteral("/Outer.app/Contents/Helper.app"), {});
    });
    QTRY_COMPARE_WITH_TIMEOUT(recorder.reported.size(), 2, 5000);
    moveIn(QStringLiteral("Sentinel"), [](const QString &path) { TestSandbox::makeApp(path + QStringLiteral("/S.app"), {}); });
    QTRY_COMPARE_WITH_TIMEOUT(recorder.reported.size(), 4, 5000);
    QCOMPARE(recorder.reported, (QStringList{QStringLiteral("Folder/Outer.app"), QStringLiteral("Folder/Outer.app"),
                                             QStringLiteral("Sentinel/S.app"), QStringLiteral("Sentinel/S.app")}));
}

// The sentinel is a folder: its search runs as late as any search of an entry found at
// start would have.
void tst_DirectoryWatcher::neverReportsWhatWasThereAtStart()
{
    TestSandbox::makeApp(m_folder + QStringLiteral("/Present.app"), {});
    TestSandbox::makeApp(m_folder + QStringLiteral("/Folder/Inside.app"), {});
    TestSandbox::makeApp(m_folder + QStringLiteral("/Folder/Deeper/Deep.app"), {});
    DirectoryWatcher watcher(m_folder);
    Recorder recorder(m_folder);
    watcher.setDelegate(&recorder);
    moveIn(QStringLiteral("Sentinel"), [](const QString &path) { TestSandbox::makeApp(path + QStringLiteral("/S.app"), {}); });
    QTRY_COMPARE_WITH_TIMEOUT(recorder.reported.size(), 2, 5000);
    QCOMPARE(recorder.reported, QStringList(2, QStringLiteral("Sentinel/S.app")));
}

void tst_DirectoryWatcher::staysSilentOnRemovals()
{
    TestSandbox::makeApp(m_folder + QStringLiteral("/Present.app"), {});
    TestSandbox::makeApp(m_folder + QStringLiteral("/Folder/Inside.app"), {});
    DirectoryWatcher watcher(m_folder);
    Recorder recorder(m_folder);
    watcher.setDelegate(&recorder);
    QVERIFY(QDir(m_folder + QStringLiteral("/Present.app")).removeRecursively());
    QVERIFY(QDir().rename(m_folder + QStringLiteral("/Folder"), m_staging + QStringLiteral("/Folder")));
    moveInApp(QStringLiteral("Sentinel.app"));
    QTRY_COMPARE_WITH_TIMEOUT(recorder.reported, QStringList{QStringLiteral("Sentinel.app")}, 5000);
    QVERIFY(!watcher.getFileItemWithPath(m_folder + QStringLiteral("/Folder")));
}

// The tree holds the entries found at start without their contents, and the entries
// that arrived later with their immediate contents.
void tst_DirectoryWatcher::findsItsNodesByPath()
{
    TestSandbox::makeFile(m_folder + QStringLiteral("/Folder/file"));
    DirectoryWatcher watcher(m_folder);
    Recorder recorder(m_folder);
    watcher.setDelegate(&recorder);
    QCOMPARE(watcher.getFileItemWithPath(m_folder)->buildFullPath(), m_folder);
    QCOMPARE(watcher.getFileItemWithPath(m_folder + QStringLiteral("/Folder"))->getNameWithExt(),
             QStringLiteral("Folder"));
    QVERIFY(!watcher.getFileItemWithPath(m_folder + QStringLiteral("/Folder/file")));
    QVERIFY(!watcher.getFileItemWithPath(m_folder + QStringLiteral("/missing")));
    QVERIFY(!watcher.getFileItemWithPath(m_staging));
    QVERIFY(!watcher.getFileItemParent());

    moveIn(QStringLiteral("Moved"), [](const QString &path) { TestSandbox::makeApp(path + QStringLiteral("/A.app"), {}); });
    QTRY_COMPARE_WITH_TIMEOUT(recorder.reported.size(), 1, 5000);
    QVERIFY(watcher.getFileItemWithPath(m_folder + QStringLiteral("/Moved/A.app")));
    QVERIFY(!watcher.getFileItemWithPath(m_folder + QStringLiteral("/Moved/A.app/Contents")));
}

void tst_DirectoryWatcher::idlesOnAMissingDirectory()
{
    const QString missing = m_folder + QStringLiteral("/missing");
    DirectoryWatcher watcher(missing);
    Recorder recorder(missing);
    watcher.setDelegate(&recorder);
    QVERIFY(watcher.isWatching());
    QVERIFY(!watcher.getFileItemWithPath(missing));
    watcher.updateDirContent();
    watcher.checkFolderForAppsWithPath(missing);
    QVERIFY(recorder.reported.isEmpty());
}

// Applications moved in as soon as the directory exists again are reported, and so is
// one named like an entry the deleted directory held.
void tst_DirectoryWatcher::followsTheDirectoryDeletedAndMadeAgain()
{
    TestSandbox::makeApp(m_folder + QStringLiteral("/Present.app"), {});
    DirectoryWatcher watcher(m_folder);
    Recorder recorder(m_folder);
    watcher.setDelegate(&recorder);

    QVERIFY(QDir(m_folder).removeRecursively());
    QTRY_COMPARE_WITH_TIMEOUT(watcher.getFollowedAncestor(), m_sandbox->home(), 5000);
    QVERIFY(QDir().mkpath(m_folder));
    moveInApp(QStringLiteral("Present.app"));
    moveInApp(QStringLiteral("New.app"));
    QTRY_COMPARE_WITH_TIMEOUT(recorder.reported.size(), 2, 5000);
    QVERIFY(watcher.getFollowedAncestor().isNull());
    QVERIFY(recorder.reported.contains(QStringLiteral("Present.app")) && recorder.reported.contains(QStringLiteral("New.app")));

    // Deleted and made again before the watcher heard of it: the same.
    QVERIFY(QDir(m_folder).removeRecursively());
    QVERIFY(QDir().mkpath(m_folder));
    moveInApp(QStringLiteral("Quick.app"));
    QTRY_COMPARE_WITH_TIMEOUT(recorder.reported.size(), 3, 5000);
    QCOMPARE(recorder.reported.last(), QStringLiteral("Quick.app"));
    moveInApp(QStringLiteral("Sentinel.app"));
    QTRY_COMPARE_WITH_TIMEOUT(recorder.reported.size(), 4, 5000);
    QCOMPARE(recorder.reported.last(), QStringLiteral("Sentinel.app"));
}

// As a whole Trash (Trash/files) deleted and made again with mkdir -p: the watcher
// waits in the nearest folder that exists and moves down as the folders come back.
void tst_DirectoryWatcher::followsDownAsFoldersAboveAreMadeAgain()
{
    const QString base = m_sandbox->path(QStringLiteral("nest-%1").arg(m_round));
    const QString trash = base + QStringLiteral("/Trash");
    m_folder = trash + QStringLiteral("/files");
    QVERIFY(QDir().mkpath(m_folder));
    DirectoryWatcher watcher(m_folder);
    Recorder recorder(m_folder);
    watcher.setDelegate(&recorder);

    QVERIFY(QDir(trash).removeRecursively());
    QTRY_COMPARE_WITH_TIMEOUT(watcher.getFollowedAncestor(), base, 5000);
    QVERIFY(QDir().mkdir(trash));
    QTRY_COMPARE_WITH_TIMEOUT(watcher.getFollowedAncestor(), trash, 5000);
    QVERIFY(QDir().mkdir(m_folder));
    moveInApp(QStringLiteral("Back.app"));
    QTRY_COMPARE_WITH_TIMEOUT(recorder.reported, QStringList{QStringLiteral("Back.app")}, 5000);

    QVERIFY(QDir(trash).removeRecursively());
    QTRY_COMPARE_WITH_TIMEOUT(watcher.getFollowedAncestor(), base, 5000);
    QVERIFY(QDir().mkpath(m_folder));
    moveInApp(QStringLiteral("Again.app"));
    QTRY_COMPARE_WITH_TIMEOUT(recorder.reported, (QStringList{QStringLiteral("Back.app"), QStringLiteral("Again.app")}), 5000);
}

// A directory renamed away and back brings its entries with it: they are not new.
void tst_DirectoryWatcher::keepsWhatARenamedDirectoryHeld()
{
    TestSandbox::makeApp(m_folder + QStringLiteral("/Present.app"), {});
    DirectoryWatcher watcher(m_folder);
    Recorder recorder(m_folder);
    watcher.setDelegate(&recorder);
    const QString away = m_folder + QStringLiteral("-away");

    QVERIFY(QDir().rename(m_folder, away));
    QTRY_COMPARE_WITH_TIMEOUT(watcher.getFollowedAncestor(), m_sandbox->home(), 5000);
    // What arrived while the folder was away is new to the watcher.
    TestSandbox::makeApp(away + QStringLiteral("/Elsewhere.app"), {});
    QVERIFY(QDir().rename(away, m_folder));
    QTRY_VERIFY_WITH_TIMEOUT(watcher.getFollowedAncestor().isNull(), 5000);
    moveInApp(QStringLiteral("Sentinel.app"));
    QTRY_VERIFY_WITH_TIMEOUT(recorder.reported.contains(QStringLiteral("Sentinel.app")), 5000);
    QCOMPARE(recorder.reported.count(QStringLiteral("Present.app")), 0);
    QCOMPARE(recorder.reported.count(QStringLiteral("Elsewhere.app")), 1);
}

QTEST_GUILESS_MAIN(tst_DirectoryWatcher)
#include "tst_DirectoryWatcher.moc"
