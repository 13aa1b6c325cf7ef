#include "FakeApplications.h"
#include "TestSandbox.h"
#include "agent/AppDelegate.h"
#include "agent/NameExcluder.h"
#include "core/PathsGenerator.h"
#include "messaging/FileMessage.h"
#include "messaging/WatcherMessage.h"
#include "notification/RichNotificationWC.h"
#include "platform/Bundle.h"
#include "platform/Delays.h"
#include "platform/ThreadLauncher.h"

#include <QDir>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

// The whole agent in one process, on a temporary home, with shortened delays: from
// an application moved to the Trash to the message the main application receives,
// and the main application's exclusions on the way.
class tst_AppDelegate : public QObject
{
    Q_OBJECT
    std::unique_ptr<TestSandbox> m_sandbox;
    std::unique_ptr<AppDelegate> m_delegate;
    QString m_mainApplication;
    int m_sentinels = 0;

    RichNotificationWC *window() const { return m_delegate->notificationController(); }
    static QString trashed(const QString &name) { return PathsGenerator::GetInstance().buildTrashDirectory() + u'/' + name; }
    static QString exclude(const QVariantList &paths) { return FileMessage::CreateMessageForHelperToExcludeRemovedPaths(paths).saveToFile(); }
    QStringList prefixes() const
    {
        QStringList list;
        for (const auto &excluder : m_delegate->excluders())
            list << excluder->prefix();
        return list;
    }
    // Hands the bundle to the delegate, then a sentinel that is never excluded (it lies
    // outside the Trash, where the watcher never sees it), and waits for the sentinel's
    // notification: what the window gathered shows whether the first one got through.
    bool shownBeside(const QString &bundlePath)
    {
        if (window()->isActive())
            window()->closeButton()->click();
        m_delegate->onAppMovedToTrash(*Bundle::bundleWithPath(bundlePath));
        const QString sentinel = u"Sentinel%1"_s.arg(++m_sentinels);
        const QString sentinelPath = m_sandbox->path(u"Sentinels/%1.app"_s.arg(sentinel));
        TestSandbox::makeApp(sentinelPath, u"com.example."_s + sentinel, sentinel);
        m_delegate->onAppMovedToTrash(*Bundle::bundleWithPath(sentinelPath));
        if (!QTest::qWaitFor([&] { return window()->isActive() && (window()->descriptionText().contains(sentinel) || window()->otherAppCount() > 0); }, 10000))
            return false;
        // Both decisions were asked in order; give the first the same time to answer.
        QTest::qWait(Delays::scaledMs(Delays::kTrashDebounce));
        return window()->otherAppCount() == 1;
    }

private Q_SLOTS:
    // What the exclusion tests hand to the delegate lies in the Trash before the agent
    // starts, so that its own Trash watcher never reports it as well.
    void initTestCase()
    {
        m_sandbox = std::make_unique<TestSandbox>();
        m_mainApplication = FakeApplications::makeScriptApp(m_sandbox->path(u"Applications/Tarnwick.app"_s), u"com.corbelle.TarnwickS"_s);
        for (const QString &name : {u"Foo Bar"_s, u"Bazooka"_s, u"Old Apps/Foo Bar"_s, u"Qux"_s, u"Late"_s})
            TestSandbox::makeApp(trashed(name + u".app"_s), u"com.example."_s + QString(name).remove(u' ').remove(u'/'), QFileInfo(name).fileName());
        ThreadLauncher::setRefusedForTests(true); // its threads are made later, once they can be
        m_delegate = std::make_unique<AppDelegate>();
        m_delegate->applicationDidFinishLaunching();
        ThreadLauncher::setRefusedForTests(false);
        QVERIFY(window());
    }
    void cleanup()
    {
        if (window()->isActive())
            window()->closeButton()->click();
        m_delegate->setExcluders({});
    }

    // The helper hands paths over; it removes nothing itself. Info.plists that are FIFOs,
    // in a trashed bundle and in an installed one, would block the main thread's read.
    void trashedAppReachesTheMainApplication()
    {
        for (const QString &fifo : {m_sandbox->path(u"Downloads/Fifo.app"_s), m_sandbox->systemApplications() + u"/Group/Fifo.app"_s})
            QVERIFY(QDir().mkpath(fifo + u"/Contents"_s) && ::mkfifo(QFile::encodeName(fifo + u"/Contents/Info.plist"_s).constData(), 0600) == 0);
        QVERIFY(QDir().rename(m_sandbox->path(u"Downloads/Fifo.app"_s), trashed(u"Fifo.app"_s)));
        const QString app = TestSandbox::makeApp(m_sandbox->path(u"Downloads/Foo.app"_s), u"com.example.Foo"_s, u"Foo"_s);
        TestSandbox::makeFile(app + u"/Contents/MacOS/Foo"_s, 4096);
        const QString cache = TestSandbox::makeFile(m_sandbox->path(u"Library/Caches/com.example.Foo/db"_s), 8192);
        const QString log = TestSandbox::makeFile(m_sandbox->path(u"Library/Logs/Foo.log"_s), 100);
        QVERIFY(QDir().rename(app, trashed(u"Foo.app"_s)));
        QTRY_VERIFY_WITH_TIMEOUT(window()->isActive() && window()->descriptionText().contains(u"Foo"_s), 10000);
        window()->completeUninstallButton()->click();
        QVERIFY(!window()->isActive());

        QTRY_COMPARE_WITH_TIMEOUT(FakeApplications::received(m_mainApplication).size(), 1, 10000);
        QFile message(FakeApplications::received(m_mainApplication).first());
        QVERIFY(message.open(QIODevice::ReadOnly));
        const auto paths = WatcherMessage::fromData(message.readAll());
        QVERIFY(paths.has_value());
        QStringList listed;
        for (const PathForRemove &path : *paths) {
            listed << path.path();
            QCOMPARE(path.bundleId(), u"com.example.foo"_s);
        }
        QCOMPARE(listed, (QStringList{trashed(u"Foo.app"_s), QFileInfo(cache).path(), log}));
        QCOMPARE(paths->first().type(), 0);
        QVERIFY(QFileInfo::exists(cache) && QFileInfo::exists(log) && QFileInfo::exists(trashed(u"Foo.app"_s)));
    }

    // The prefix also covers longer names, but not the same name in a sub-folder of the Trash.
    void excludedNamesAreMatchedFromTheTrash()
    {
        m_delegate->application(nullptr, exclude({u"/Applications/Foo Bar.app"_s, u"/Applications/Baz.app/"_s}));
        QCOMPARE(prefixes(), (QStringList{u"Foo Bar"_s, u"Baz"_s}));
        QVERIFY(!shownBeside(trashed(u"Foo Bar.app"_s)));
        QVERIFY(!shownBeside(trashed(u"Bazooka.app"_s)));
        QVERIFY(shownBeside(trashed(u"Old Apps/Foo Bar.app"_s)));
    }

    // Nothing is dropped at once: an arrival right after the clear command is still
    // excluded, and an exclusion that arrives during the delay survives the pruning.
    void clearingWaitsAndSparesNewExclusions()
    {
        m_delegate->application(nullptr, exclude({u"/x/Qux.app"_s}));
        m_delegate->application(nullptr, FileMessage::CreateMessageForHelperToCancelExcludeRemovedPaths().saveToFile());
        QCOMPARE(prefixes(), QStringList{u"Qux"_s});
        QVERIFY(!shownBeside(trashed(u"Qux.app"_s)));
        window()->closeButton()->click();
        m_delegate->application(nullptr, exclude({u"/x/Quux.app"_s}));
        QTRY_COMPARE_WITH_TIMEOUT(prefixes(), QStringList{u"Quux"_s}, 10000);
        QVERIFY(shownBeside(trashed(u"Qux.app"_s)));
    }

    // A wrongly named file is neither read nor deleted; garbage is consumed.
    void onlyWellNamedCommandFilesAreRead()
    {
        const QString good = exclude({u"/x/Keep.app"_s});
        const QString shouting = QFileInfo(good).path() + u"/shout.MSGFORTWHELP"_s;
        QVERIFY(QFile::copy(good, shouting));
        const QString garbage = TestSandbox::makeFile(QFileInfo(good).path() + u"/garbage.msgfortwhelp"_s, 64);
        QCOMPARE(m_delegate->application(nullptr, QVariantList{shouting, 42, garbage, QVariantMap{}}), AppDelegate::OpenReply::Success);
        QVERIFY(QFileInfo::exists(shouting) && !QFileInfo::exists(garbage) && prefixes().isEmpty());
        QVERIFY(m_delegate->application(nullptr, good));
        QVERIFY(!QFileInfo::exists(good));
        QCOMPARE(prefixes(), QStringList{u"Keep"_s});
    }

    // Arrivals are ignored once its own bundle is gone, even ones nothing excludes; the
    // update restarter asks the application to quit (the event loop shows it).
    void quitsOnceItsOwnBundleIsGone()
    {
        QVERIFY(QDir(m_sandbox->helperBundle()).removeRecursively());
        m_delegate->onAppMovedToTrash(*Bundle::bundleWithPath(trashed(u"Late.app"_s)));
        QTimer::singleShot(10000, [] { QCoreApplication::exit(1); });
        QCOMPARE(QCoreApplication::exec(), 0);
        QVERIFY(!window()->isActive());
    }
};

QTEST_MAIN(tst_AppDelegate)
#include "tst_AppDelegate.moc"
