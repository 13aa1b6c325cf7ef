#include "FakeApplications.h"
#include "TestSandbox.h"
#include "messaging/MessageFiles.h"
#include "messaging/NotificationsManager.h"
#include "messaging/WatcherMessage.h"
#include "platform/Bundle.h"
#include "platform/BundleIdentifiers.h"

#include <QTest>

#include <memory>

namespace {

QList<PathForRemove> records() { return {*PathForRemove::initWithPath("/home/a/Library/Caches/com.example.Foo", 8, "com.example.Foo")}; }

int g_messagingWarnings = 0;
QtMessageHandler g_previousHandler = nullptr;

void countMessagingWarnings(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type == QtWarningMsg && qstrcmp(context.category, "tarnwick.messaging") == 0)
        ++g_messagingWarnings;
    else
        g_previousHandler(type, context, message);
}

} // namespace

class tst_NotificationsManager : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase()
    {
        m_sandbox = std::make_unique<TestSandbox>();
        g_previousHandler = qInstallMessageHandler(countMessagingWarnings);
    }

    // The user asked for the clean-up: no main application, or one that does not start,
    // leaves a warning (before any copy is installed here).
    void warnsWhenTheHandOffCannotHappen()
    {
        if (!Workspace::runningApplications(BundleIdentifiers::mainApp()).isEmpty())
            QSKIP("a Tarnwick main application runs for this user");
        NotificationsManager::GetInstance().removeFilePaths(records());
        QCOMPARE(g_messagingWarnings, 1);
        const QString broken = FakeApplications::makeScriptApp(m_sandbox->path("Applications/Tarnwick.app"), BundleIdentifiers::mainApp());
        QVERIFY(QFile::setPermissions(FakeApplications::executableOf(broken), QFile::ReadOwner));
        NotificationsManager::GetInstance().removeFilePaths(records());
        QCOMPARE(g_messagingWarnings, 2);
    }

    // The installed copy, unless one runs; the running instance (its executable), unless
    // the helper sits inside a copy of the main application, which wins over both. When
    // the message cannot be written, the chosen application is opened with its own path.
    void handsOverToTheMainApplicationInOrder()
    {
        if (!Workspace::runningApplications(BundleIdentifiers::mainApp()).isEmpty())
            QSKIP("a Tarnwick main application runs for this user");
        NotificationsManager &manager = NotificationsManager::GetInstance();
        const QString installed =
            FakeApplications::makeScriptApp(m_sandbox->systemApplications() + "/Tarnwick.app", BundleIdentifiers::mainApp());
        QCOMPARE(manager.findMainApplication(), installed);
        FakeApplications fakes;
        const QString running = fakes.startRunningApp(m_sandbox->path("Running/Tarnwick.app"), BundleIdentifiers::mainApp());
        QVERIFY(!running.isNull());
        const QString suite = placeHelperInside("Other/Suite.app", "com.example.Suite");
        QCOMPARE(manager.findMainApplication(), FakeApplications::executableOf(running));
        manager.removeFilePaths({}); // launches nothing: the next hand-off is the only one to arrive
        handsOverTo(running, {suite, installed});

        const QString copy = placeHelperInside("Copy/Tarnwick.app", BundleIdentifiers::mainApp());
        QCOMPARE(manager.findMainApplication(), copy);
        handsOverTo(copy, {installed});
        QCOMPARE(FakeApplications::received(running).size(), 1);

        const QString folder = MessageFiles::folder();
        QVERIFY(QFile::setPermissions(folder, QFile::Permissions(0x7777)));
        manager.removeFilePaths(records());
        QTRY_COMPARE_WITH_TIMEOUT(FakeApplications::received(copy).size(), 2, 5000);
        QVERIFY(QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        QCOMPARE(FakeApplications::received(copy).last(), copy);
    }

private:
    // Moves the helper's own bundle into a new application with the identifier; returns that application.
    QString placeHelperInside(const QString &name, const QString &identifier) const
    {
        const QString application = FakeApplications::makeScriptApp(m_sandbox->path(name), identifier);
        Bundle::setMainBundlePath(
            TestSandbox::makeApp(application + "/Contents/Library/LoginItems/Tarnwick Helper.app", BundleIdentifiers::helper()));
        return application;
    }

    // Hands the records over: the target receives them in one message, the others nothing.
    void handsOverTo(const QString &target, const QStringList &others)
    {
        NotificationsManager::GetInstance().removeFilePaths(records());
        QTRY_COMPARE_WITH_TIMEOUT(FakeApplications::received(target).size(), 1, 5000);
        WatcherMessage message;
        QVERIFY(message.loadFromPath(FakeApplications::received(target).first()));
        QCOMPARE(message.getPathsForRemove(), records());
        for (const QString &other : others)
            QVERIFY2(FakeApplications::received(other).isEmpty(), qPrintable(other));
    }

    std::unique_ptr<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_NotificationsManager)
#include "tst_NotificationsManager.moc"
