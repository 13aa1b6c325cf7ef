#include "FakeApplications.h"
#include "TestSandbox.h"
#include "messaging/MessageFiles.h"
#include "messaging/NotificationsManager.h"
#include "messaging/WatcherMessage.h"
#include "platform/Bundle.h"
#include "platform/BundleIdentifiers.h"
#include "platform/Workspace.h"

#include <QFile>
#include <QTest>

#include <memory>

class tst_NotificationsManager : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void installedCopyWhenNothingRuns();
    void copyHoldingTheHelperWinsOverARunningOne();
    void runningInstanceWhenTheParentIsAnotherApp();
    void opensTheApplicationItselfWhenTheMessageCannotBeWritten();

private:
    // Moves the helper's own bundle into a new application with the identifier;
    // returns that application.
    QString placeHelperInside(const QString &name, const QString &identifier) const;

    std::unique_ptr<TestSandbox> m_sandbox;
    QString m_installed;
};

namespace {

QList<PathForRemove> records()
{
    auto cache = *PathForRemove::initWithPath(QStringLiteral("/home/a/Library/Caches/com.example.Foo"), 8, QStringLiteral("com.example.Foo"));
    cache.setSize(1200);
    return {cache, *PathForRemove::initWithPath(QStringLiteral("/home/a/Library/Preferences/com.example.Foo.plist"), 10,
                                                QStringLiteral("com.example.Foo"))};
}

// The records of the one message the application received; the message is consumed.
QList<PathForRemove> receivedRecords(const QString &application)
{
    const QStringList received = FakeApplications::received(application);
    WatcherMessage message;
    return received.size() == 1 && message.loadFromPath(received.first()) ? message.getPathsForRemove() : QList<PathForRemove>();
}

bool othersRun()
{
    return !Workspace::runningApplications(BundleIdentifiers::mainApp()).isEmpty();
}

} // namespace

void tst_NotificationsManager::initTestCase()
{
    m_sandbox = std::make_unique<TestSandbox>();
    m_installed = FakeApplications::makeScriptApp(m_sandbox->systemApplications() + QStringLiteral("/Tarnwick.app"),
                                                  BundleIdentifiers::mainApp());
}

void tst_NotificationsManager::cleanup()
{
    Bundle::setMainBundlePath(m_sandbox->helperBundle());
    QFile::remove(FakeApplications::executableOf(m_installed) + QStringLiteral(".received"));
}

QString tst_NotificationsManager::placeHelperInside(const QString &name, const QString &identifier) const
{
    const QString application = FakeApplications::makeScriptApp(m_sandbox->path(name), identifier);
    Bundle::setMainBundlePath(TestSandbox::makeApp(application + QStringLiteral("/Contents/Library/LoginItems/Tarnwick Helper.app"),
                                                   BundleIdentifiers::helper()));
    return application;
}

void tst_NotificationsManager::installedCopyWhenNothingRuns()
{
    if (othersRun())
        QSKIP("a Tarnwick main application runs for this user");
    QCOMPARE(NotificationsManager::GetInstance().findMainApplication(), m_installed);
    // An empty list launches nothing: the next hand-off is the only one to arrive.
    NotificationsManager::GetInstance().removeFilePaths({});
    NotificationsManager::GetInstance().removeFilePaths(records());
    QTRY_COMPARE_WITH_TIMEOUT(FakeApplications::received(m_installed).size(), 1, 5000);
    QCOMPARE(receivedRecords(m_installed), records());
}

void tst_NotificationsManager::copyHoldingTheHelperWinsOverARunningOne()
{
    if (othersRun())
        QSKIP("a Tarnwick main application runs for this user");
    FakeApplications fakes;
    const QString running = fakes.startRunningApp(m_sandbox->path(QStringLiteral("Running/Tarnwick.app")), BundleIdentifiers::mainApp());
    QVERIFY(!running.isNull());
    const QString copy = placeHelperInside(QStringLiteral("Copy/Tarnwick.app"), BundleIdentifiers::mainApp());
    QCOMPARE(NotificationsManager::GetInstance().findMainApplication(), copy);
    NotificationsManager::GetInstance().removeFilePaths(records());
    QTRY_COMPARE_WITH_TIMEOUT(FakeApplications::received(copy).size(), 1, 5000);
    QCOMPARE(receivedRecords(copy), records());
    QVERIFY(FakeApplications::received(running).isEmpty() && FakeApplications::received(m_installed).isEmpty());
}

void tst_NotificationsManager::runningInstanceWhenTheParentIsAnotherApp()
{
    if (othersRun())
        QSKIP("a Tarnwick main application runs for this user");
    FakeApplications fakes;
    const QString running = fakes.startRunningApp(m_sandbox->path(QStringLiteral("Running/Tarnwick.app")), BundleIdentifiers::mainApp());
    QVERIFY(!running.isNull());
    const QString other = placeHelperInside(QStringLiteral("Other/Suite.app"), QStringLiteral("com.example.Suite"));
    // The running instance's executable, not its bundle.
    QCOMPARE(NotificationsManager::GetInstance().findMainApplication(), FakeApplications::executableOf(running));
    NotificationsManager::GetInstance().removeFilePaths(records());
    QTRY_COMPARE_WITH_TIMEOUT(FakeApplications::received(running).size(), 1, 5000);
    QCOMPARE(receivedRecords(running), records());
    QVERIFY(FakeApplications::received(other).isEmpty() && FakeApplications::received(m_installed).isEmpty());
}

void tst_NotificationsManager::opensTheApplicationItselfWhenTheMessageCannotBeWritten()
{
    if (othersRun())
        QSKIP("a Tarnwick main application runs for this user");
    const QString folder = MessageFiles::folder();
    QVERIFY(QFile::setPermissions(folder, QFile::Permissions(0x7777)));
    NotificationsManager::GetInstance().removeFilePaths(records());
    QTRY_COMPARE_WITH_TIMEOUT(FakeApplications::received(m_installed).size(), 1, 5000);
    QVERIFY(QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    QCOMPARE(FakeApplications::received(m_installed).first(), m_installed);
}

QTEST_GUILESS_MAIN(tst_NotificationsManager)
#include "tst_NotificationsManager.moc"
