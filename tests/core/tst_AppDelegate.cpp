#include "FakeApplications.h"
#include "TestSandbox.h"
#include "core/AppDelegate.h"
#include "core/NameExcluder.h"
#include "core/PathsGenerator.h"
#include "messaging/FileMessage.h"
#include "messaging/WatcherMessage.h"
#include "notification/RichNotificationWC.h"
#include "platform/Bundle.h"
#include "platform/Delays.h"

#include <QDir>
#include <QFile>
#include <QPushButton>
#include <QTest>
#include <QTimer>

// The whole agent in one process, on a temporary home, with shortened delays: from
// an application moved to the Trash to the message the main application receives,
// and the main application's exclusions on the way.
class tst_AppDelegate : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void trashedAppReachesTheMainApplication();
    void excludedNamesAreMatchedFromTheTrash();
    void clearingWaitsAndSparesNewExclusions();
    void onlyWellNamedCommandFilesAreRead();
    void quitsOnceItsOwnBundleIsGone();

private:
    QString makeTrashableApp(const QString &name);
    QString trashed(const QString &name) const;
    static QString commandFile(const FileMessage &message);
    QStringList prefixes() const;
    // Hands the bundle to the delegate, then a sentinel that is never excluded, and
    // waits for the sentinel's notification: what the window gathered shows whether
    // the first one got through.
    bool shownBeside(const QString &bundlePath);

    std::unique_ptr<TestSandbox> m_sandbox;
    std::unique_ptr<AppDelegate> m_delegate;
    QString m_mainApplication;
    int m_sentinels = 0;
};

void tst_AppDelegate::initTestCase()
{
    m_sandbox = std::make_unique<TestSandbox>();
    m_mainApplication =
        FakeApplications::makeScriptApp(m_sandbox->path(QStringLiteral("Applications/Tarnwick.app")), QStringLiteral("com.corbelle.TarnwickS"));
    // What the exclusion tests hand to the delegate lies in the Trash before the agent
    // starts, so that its own Trash watcher never reports it as well.
    for (const QString &name : {QStringLiteral("Foo Bar"), QStringLiteral("Bazooka"), QStringLiteral("Old Apps/Foo Bar"),
                                QStringLiteral("Qux"), QStringLiteral("Late")})
        TestSandbox::makeApp(trashed(name + QStringLiteral(".app")), QStringLiteral("com.example.") + QString(name).remove(QLatin1Char(' ')).remove(QLatin1Char('/')), QFileInfo(name).fileName());
    m_delegate = std::make_unique<AppDelegate>();
    m_delegate->applicationDidFinishLaunching();
    QVERIFY(m_delegate->notificationController());
}

void tst_AppDelegate::cleanup()
{
    if (m_delegate->notificationController()->isActive())
        m_delegate->notificationController()->closeButton()->click();
    m_delegate->setExcluders({});
}

QString tst_AppDelegate::makeTrashableApp(const QString &name)
{
    const QString path = m_sandbox->path(QStringLiteral("Downloads/") + name + QStringLiteral(".app"));
    TestSandbox::makeApp(path, QStringLiteral("com.example.") + QString(name).remove(QLatin1Char(' ')), name);
    TestSandbox::makeFile(path + QStringLiteral("/Contents/MacOS/") + name, 4096);
    return path;
}

QString tst_AppDelegate::trashed(const QString &name) const
{
    return PathsGenerator::GetInstance().buildTrashDirectory() + QLatin1Char('/') + name;
}

QString tst_AppDelegate::commandFile(const FileMessage &message)
{
    return message.saveToFile();
}

QStringList tst_AppDelegate::prefixes() const
{
    QStringList list;
    for (const auto &excluder : m_delegate->excluders())
        list << excluder->prefix();
    return list;
}

bool tst_AppDelegate::shownBeside(const QString &bundlePath)
{
    RichNotificationWC *window = m_delegate->notificationController();
    if (window->isActive())
        window->closeButton()->click();
    m_delegate->onAppMovedToTrash(*Bundle::bundleWithPath(bundlePath));
    // The sentinel lies outside the Trash: nothing excludes it and the watcher never sees it.
    const QString sentinel = QStringLiteral("Sentinel%1").arg(++m_sentinels);
    const QString sentinelPath = m_sandbox->path(QStringLiteral("Sentinels/") + sentinel + QStringLiteral(".app"));
    TestSandbox::makeApp(sentinelPath, QStringLiteral("com.example.") + sentinel, sentinel);
    m_delegate->onAppMovedToTrash(*Bundle::bundleWithPath(sentinelPath));
    const auto sentinelGathered = [&] {
        return window->isActive() && (window->descriptionText().contains(sentinel) || window->otherAppCount() > 0);
    };
    if (!QTest::qWaitFor(sentinelGathered, 10000))
        return false;
    // Both decisions were asked in order; give the first the same time to answer.
    QTest::qWait(Delays::scaledMs(Delays::kTrashDebounce));
    return window->otherAppCount() == 1;
}

void tst_AppDelegate::trashedAppReachesTheMainApplication()
{
    const QString app = makeTrashableApp(QStringLiteral("Foo"));
    const QString cache = TestSandbox::makeFile(m_sandbox->path(QStringLiteral("Library/Caches/com.example.Foo/db")), 8192);
    const QString log = TestSandbox::makeFile(m_sandbox->path(QStringLiteral("Library/Logs/Foo.log")), 100);
    QVERIFY(QDir().rename(app, trashed(QStringLiteral("Foo.app"))));

    RichNotificationWC *window = m_delegate->notificationController();
    QTRY_VERIFY_WITH_TIMEOUT(window->isActive(), 10000);
    QTRY_VERIFY_WITH_TIMEOUT(window->descriptionText().contains(QStringLiteral("Foo")), 10000);
    window->completeUninstallButton()->click();
    QVERIFY(!window->isActive());

    QTRY_COMPARE_WITH_TIMEOUT(FakeApplications::received(m_mainApplication).size(), 1, 10000);
    QFile message(FakeApplications::received(m_mainApplication).first());
    QVERIFY(message.open(QIODevice::ReadOnly));
    const auto paths = WatcherMessage::fromData(message.readAll());
    QVERIFY(paths.has_value());
    QStringList listed;
    for (const PathForRemove &path : *paths) {
        listed << path.path();
        QCOMPARE(path.bundleId(), QStringLiteral("com.example.foo"));
    }
    QCOMPARE(listed, (QStringList{trashed(QStringLiteral("Foo.app")), QFileInfo(cache).path(), log}));
    QCOMPARE(paths->first().type(), 0);
    // The helper hands paths over; it removes nothing itself.
    QVERIFY(QFileInfo::exists(cache) && QFileInfo::exists(log) && QFileInfo::exists(trashed(QStringLiteral("Foo.app"))));
}

void tst_AppDelegate::excludedNamesAreMatchedFromTheTrash()
{
    m_delegate->application(nullptr, commandFile(FileMessage::CreateMessageForHelperToExcludeRemovedPaths(
                                         {QStringLiteral("/Applications/Foo Bar.app"), QStringLiteral("/Applications/Baz.app/")})));
    QCOMPARE(prefixes(), (QStringList{QStringLiteral("Foo Bar"), QStringLiteral("Baz")}));

    QVERIFY(!shownBeside(trashed(QStringLiteral("Foo Bar.app"))));
    // The prefix also covers longer names...
    QVERIFY(!shownBeside(trashed(QStringLiteral("Bazooka.app"))));
    // ...but not the same name in a sub-folder of the Trash.
    QVERIFY(shownBeside(trashed(QStringLiteral("Old Apps/Foo Bar.app"))));
}

void tst_AppDelegate::clearingWaitsAndSparesNewExclusions()
{
    m_delegate->application(nullptr, commandFile(FileMessage::CreateMessageForHelperToExcludeRemovedPaths({QStringLiteral("/x/Qux.app")})));
    const QString qux = trashed(QStringLiteral("Qux.app"));

    m_delegate->application(nullptr, commandFile(FileMessage::CreateMessageForHelperToCancelExcludeRemovedPaths()));
    // Nothing is dropped at once: an arrival right after the clear command is still excluded.
    QCOMPARE(prefixes(), QStringList{QStringLiteral("Qux")});
    QVERIFY(!shownBeside(qux));
    m_delegate->notificationController()->closeButton()->click();

    // An exclusion that arrives during the delay survives the pruning.
    m_delegate->application(nullptr, commandFile(FileMessage::CreateMessageForHelperToExcludeRemovedPaths({QStringLiteral("/x/Quux.app")})));
    QTRY_COMPARE_WITH_TIMEOUT(prefixes(), QStringList{QStringLiteral("Quux")}, 10000);
    QVERIFY(shownBeside(qux));
}

void tst_AppDelegate::onlyWellNamedCommandFilesAreRead()
{
    const QString good = commandFile(FileMessage::CreateMessageForHelperToExcludeRemovedPaths({QStringLiteral("/x/Keep.app")}));
    const QString shouting = QFileInfo(good).path() + QStringLiteral("/shout.MSGFORTWHELP");
    QVERIFY(QFile::copy(good, shouting));
    const QString garbage = TestSandbox::makeFile(QFileInfo(good).path() + QStringLiteral("/garbage.msgfortwhelp"), 64);

    const QVariantList files{shouting, 42, garbage, QVariantMap{}};
    QCOMPARE(m_delegate->application(nullptr, files), AppDelegate::OpenReply::Success);
    // The wrongly named file is neither read nor deleted; the garbage is consumed.
    QVERIFY(QFileInfo::exists(shouting));
    QVERIFY(!QFileInfo::exists(garbage));
    QVERIFY(prefixes().isEmpty());

    QVERIFY(m_delegate->application(nullptr, good));
    QVERIFY(!QFileInfo::exists(good));
    QCOMPARE(prefixes(), QStringList{QStringLiteral("Keep")});
}

void tst_AppDelegate::quitsOnceItsOwnBundleIsGone()
{
    QVERIFY(QDir(m_sandbox->helperBundle()).removeRecursively());
    // Arrivals are ignored from now on, even ones nothing excludes.
    m_delegate->onAppMovedToTrash(*Bundle::bundleWithPath(trashed(QStringLiteral("Late.app"))));

    // The update restarter asks the application to quit; run the event loop to see it.
    QTimer::singleShot(10000, [] { QCoreApplication::exit(1); });
    QCOMPARE(QCoreApplication::exec(), 0);
    QVERIFY(!m_delegate->notificationController()->isActive());
}

QTEST_MAIN(tst_AppDelegate)
#include "tst_AppDelegate.moc"
