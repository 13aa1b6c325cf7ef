#include "TestSandbox.h"
#include "support/AppImageFixture.h"
#include "agent/AppDelegate.h"
#include "core/PathsGenerator.h"
#include "messaging/FileMessage.h"
#include "notification/RichNotificationWC.h"
#include "platform/Bundle.h"
#include "platform/ThreadLauncher.h"

#include <QDir>
#include <QTest>
#include <QTimer>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

// The delegate, noting each application it would offer to clean up instead of handing
// it to the presenter (the way from there is tst_Presenter's); AppImages go to a
// window of this process when the test gives one.
class RecordingDelegate : public AppDelegate
{
public:
    QStringList offered;
    RichNotificationWC *window = nullptr;

protected:
    void showNotificationForApp(const Bundle &bundle) override { offered << bundle.bundlePath(); }
    void showNotificationForAppImage(const QString &path) override
    {
        offered << path;
        if (window)
            window->showNotificationForAppImage(path);
    }
};

QString trashed(const QString &name) { return PathsGenerator::GetInstance().buildTrashDirectory() + u'/' + name; }
QString exclude(const QVariantList &paths) { return FileMessage::CreateMessageForHelperToExcludeRemovedPaths(paths).saveToFile(); }
QString clear() { return FileMessage::CreateMessageForHelperToCancelExcludeRemovedPaths().saveToFile(); }
// An AppImage of the desktop id, named "<Name>.AppImage" at the path.
QString makeAppImage(const QString &path, const QString &desktopId, const QString &name)
{
    const QByteArray entry = AppImageFixture::desktopEntry("Name=" + name.toUtf8() + "\nExec=AppRun\n");
    return AppImageFixture::write(path, AppImageFixture::bytes({{desktopId + u".desktop"_s, entry}}));
}

} // namespace

// The application delegate on a temporary home, with shortened delays: the main
// application's command files and the exclusions they set.
class tst_AppDelegate : public QObject
{
    Q_OBJECT
    std::unique_ptr<TestSandbox> m_sandbox;
    std::unique_ptr<RecordingDelegate> m_delegate;

    QStringList prefixes() const { return m_delegate->excluders().prefixes(); }
    // Which of the trashed applications the delegate offers to clean up.
    QStringList offeredOf(const QStringList &names)
    {
        m_delegate->offered.clear();
        for (const QString &name : names)
            m_delegate->onAppMovedToTrash(*Bundle::bundleWithPath(trashed(name)));
        return m_delegate->offered;
    }

private Q_SLOTS:
    // What the tests hand to the delegate lies in the Trash before the agent starts, so
    // that its own Trash watcher never reports it as well.
    void initTestCase()
    {
        m_sandbox = std::make_unique<TestSandbox>();
        for (const QString &name : {u"Foo Bar"_s, u"Bazooka"_s, u"Old Apps/Foo Bar"_s, u"Qux"_s})
            TestSandbox::makeApp(trashed(name + u".app"_s), u"com.example."_s + QString(name).remove(u' ').remove(u'/'));
        makeAppImage(trashed(u"Kritter.AppImage"_s), u"org.example.Kritter"_s, u"Kritter"_s);
        makeAppImage(trashed(u"Copied.AppImage"_s), u"org.example.Copied"_s, u"Copied"_s);
        makeAppImage(m_sandbox->path(u"Applications/Copy.AppImage"_s), u"org.example.Copied"_s, u"Copied"_s);
        m_delegate = std::make_unique<RecordingDelegate>();
        ThreadLauncher::setRefusedForTests(true); // its threads are made later, once they can be
        m_delegate->applicationDidFinishLaunching();
        ThreadLauncher::setRefusedForTests(false);
    }
    void cleanup() { m_delegate->excluders().clear(); }

    // Info.plists that are FIFOs, in a trashed bundle and in an installed one, would
    // block the main thread's read: an application trashed after them is still offered.
    void fifoInfoPlistsBlockNothing()
    {
        for (const QString &fifo : {m_sandbox->path(u"Downloads/Fifo.app"_s), m_sandbox->systemApplications() + u"/Group/Fifo.app"_s})
            QVERIFY(QDir().mkpath(fifo + u"/Contents"_s) && ::mkfifo(QFile::encodeName(fifo + u"/Contents/Info.plist"_s).constData(), 0600) == 0);
        QVERIFY(QDir().rename(m_sandbox->path(u"Downloads/Fifo.app"_s), trashed(u"Fifo.app"_s)));
        const QString app = TestSandbox::makeApp(m_sandbox->path(u"Downloads/Foo.app"_s), u"com.example.Foo"_s, u"Foo"_s);
        m_delegate->offered.clear();
        QVERIFY(QDir().rename(app, trashed(u"Foo.app"_s)));
        QTRY_COMPARE_WITH_TIMEOUT(m_delegate->offered, QStringList{trashed(u"Foo.app"_s)}, 10000);
    }

    // An AppImage goes the whole way: decided off the main thread, gathered by the
    // window under its Name, handed over on "Complete Uninstall" with the AppImage
    // first, as the application. One with another copy installed, offered just
    // before, is decided first and not shown.
    void offersAnAppImageAndHandsItOver()
    {
        const QString settings = TestSandbox::makeFile(m_sandbox->path(u".config/Kritter/settings.ini"_s), 5000);
        const QString cache = TestSandbox::makeFile(m_sandbox->path(u".cache/org.example.Kritter"_s), 10);
        const std::unique_ptr<RichNotificationWC> owned = RichNotificationWC::create();
        RichNotificationWC *window = m_delegate->window = owned.get();
        QList<PathForRemove> handed;
        window->setRemoveFilePaths([&handed](const QList<PathForRemove> &paths) { handed = paths; });
        m_delegate->onAppImageMovedToTrash(trashed(u"Copied.AppImage"_s));
        m_delegate->onAppImageMovedToTrash(trashed(u"Kritter.AppImage"_s));
        QTRY_VERIFY_WITH_TIMEOUT(window->descriptionText().contains(u"Kritter"_s), 10000);
        QCOMPARE(window->otherAppCount(), 0);
        window->onSelectCompleteUninstall();
        QStringList items;
        for (const PathForRemove &item : std::as_const(handed))
            items << u"%1 %2"_s.arg(item.type()).arg(item.path());
        QCOMPARE(items, (QStringList{u"0 "_s + trashed(u"Kritter.AppImage"_s), u"10 "_s + QFileInfo(settings).path(), u"8 "_s + cache}));
        m_delegate->window = nullptr;
    }

    // The prefix also covers longer names, but not the same name in a sub-folder of the Trash.
    void excludedNamesAreMatchedFromTheTrash()
    {
        m_delegate->application(nullptr, exclude({u"/Applications/Foo Bar.app"_s, u"/Applications/Baz.app/"_s}));
        QCOMPARE(prefixes(), (QStringList{u"Foo Bar"_s, u"Baz"_s}));
        QCOMPARE(offeredOf({u"Foo Bar.app"_s, u"Bazooka.app"_s, u"Old Apps/Foo Bar.app"_s}), QStringList{trashed(u"Old Apps/Foo Bar.app"_s)});
    }

    // Nothing is dropped at once: an arrival right after the clear command is still
    // excluded, and an exclusion that arrives during the delay survives the pruning.
    void clearingWaitsAndSparesNewExclusions()
    {
        m_delegate->application(nullptr, QVariantList{exclude({u"/x/Qux.app"_s}), clear()});
        QCOMPARE(offeredOf({u"Qux.app"_s}), QStringList());
        m_delegate->application(nullptr, exclude({u"/x/Quux.app"_s}));
        QTRY_COMPARE_WITH_TIMEOUT(prefixes(), QStringList{u"Quux"_s}, 10000);
        QCOMPARE(offeredOf({u"Qux.app"_s}), QStringList{trashed(u"Qux.app"_s)});
    }

    // The oldest exclusions go beyond the limit; clear commands, however many, hold no
    // copy of the list and drop only what existed when they came.
    void boundsTheExclusions()
    {
        QVariantList paths;
        for (int i = 0; i < ExcluderList::kMaxCount + 5; ++i)
            paths << u"/x/App%1.app"_s.arg(i);
        QVariantList files{exclude(paths)};
        for (int i = 0; i < 1000; ++i)
            files << clear();
        m_delegate->application(nullptr, files << exclude({u"/x/Late.app"_s}));
        QCOMPARE(prefixes().size(), ExcluderList::kMaxCount);
        QCOMPARE(prefixes().first(), u"App6"_s);
        QTRY_COMPARE_WITH_TIMEOUT(prefixes(), QStringList{u"Late"_s}, 10000);
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
        QCOMPARE(offeredOf({u"Qux.app"_s}), QStringList());
        QTimer::singleShot(10000, [] { QCoreApplication::exit(1); });
        QCOMPARE(QCoreApplication::exec(), 0);
    }
};

QTEST_MAIN(tst_AppDelegate)
#include "tst_AppDelegate.moc"
