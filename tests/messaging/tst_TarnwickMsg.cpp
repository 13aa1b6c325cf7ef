#include "FakeApplications.h"
#include "TestSandbox.h"
#include "messaging/FileMessage.h"
#include "messaging/MessageFiles.h"
#include "messaging/WatcherMessage.h"
#include "platform/BundleIdentifiers.h"
#include "platform/FileAttributes.h"
#include "platform/Workspace.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QTest>

#include <memory>

// tarnwick-msg run as a process, with the sandbox's runtime directory.
class tst_TarnwickMsg : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void writesCommandFiles();
    void showsFilesWithoutConsumingThem();
    void reportsUndecodableFilesInOneLine();
    void usageErrorsExitWithTwo_data();
    void usageErrorsExitWithTwo();
    void opensTheFileWithTheHelper();

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

namespace {

struct Run
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

Run run(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral(TW_TARNWICK_MSG), arguments);
    if (!process.waitForFinished(30000) || process.exitStatus() != QProcess::NormalExit)
        return {};
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

QString printedPath(const Run &result)
{
    return QString::fromLocal8Bit(result.out).trimmed();
}

} // namespace

void tst_TarnwickMsg::initTestCase()
{
    m_sandbox = std::make_unique<TestSandbox>();
}

void tst_TarnwickMsg::writesCommandFiles()
{
    const Run exclude = run({QStringLiteral("exclude"), QStringLiteral("--no-send"), QStringLiteral("--"),
                             QStringLiteral("/Applications/Foo Bar.app"), QStringLiteral("-dash.app")});
    QCOMPARE(exclude.exitCode, 0);
    const QString file = printedPath(exclude);
    QCOMPARE(QFileInfo(file).absolutePath(), MessageFiles::folder());
    QVERIFY(file.endsWith(QStringLiteral(".msgfortwhelp")));
    QStringList paths;
    QVERIFY(FileMessage::ReadExcludePaths(&paths, FileMessage::loadFromFile(file)));
    QCOMPARE(paths, QStringList({QStringLiteral("/Applications/Foo Bar.app"), QStringLiteral("-dash.app")}));

    const Run clear = run({QStringLiteral("clear"), QStringLiteral("--no-send")});
    QCOMPARE(clear.exitCode, 0);
    QVERIFY(FileMessage::ReadCancelExcludeRemovedPathsFromMessage(FileMessage::loadFromFile(printedPath(clear))));
}

void tst_TarnwickMsg::showsFilesWithoutConsumingThem()
{
    const FileMessage command = FileMessage::CreateMessageForHelperToExcludeRemovedPaths({QStringLiteral("/Applications/Foo.app")});
    const QString commandFile = command.saveToFile();
    const Run shownCommand = run({QStringLiteral("show"), commandFile});
    QCOMPARE(shownCommand.exitCode, 0);
    QCOMPARE(QJsonDocument::fromJson(shownCommand.out), QJsonDocument::fromVariant(command.data()));
    QVERIFY(FileAttributes::exists(commandFile));

    WatcherMessage message;
    auto record = *PathForRemove::initWithPath(QStringLiteral("/home/a/Library/Caches/Foo"), 8, QStringLiteral("com.example.Foo"));
    record.setSize(77);
    message.setPathsForRemove({record});
    const QString messageFile = message.saveForTransmit();
    const Run shownMessage = run({QStringLiteral("show"), messageFile});
    QCOMPARE(shownMessage.exitCode, 0);
    QCOMPARE(QJsonDocument::fromJson(shownMessage.out).object(), message.toJson());
    QVERIFY(FileAttributes::exists(messageFile));

    const Run shownFixture = run({QStringLiteral("show"), QStringLiteral(TW_FIXTURES_DIR "/exclude-mutable.msgfortwhelp")});
    QCOMPARE(shownFixture.exitCode, 0);
    QCOMPARE(QJsonDocument::fromJson(shownFixture.out).object().value(QStringLiteral("paths")).toArray().size(), 3);
}

void tst_TarnwickMsg::reportsUndecodableFilesInOneLine()
{
    const QString noise = TestSandbox::makeFile(m_sandbox->path(QStringLiteral("noise.msgfortwhelp")), 300);
    const QString badMessage = m_sandbox->path(QStringLiteral("bad.trfortw"));
    QFile file(badMessage);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(WatcherMessage::getProtocolName2().toUtf8() + "\n{\"items\":[]}");
    file.close();
    for (const QString &path : {noise, badMessage, QStringLiteral(TW_FIXTURES_DIR "/cycle.msgfortwhelp"),
                                m_sandbox->path(QStringLiteral("missing")), m_sandbox->home()}) {
        const Run shown = run({QStringLiteral("show"), path});
        QCOMPARE(shown.exitCode, 1);
        QVERIFY(shown.out.isEmpty());
        QCOMPARE(shown.err.count('\n'), 1);
        QVERIFY2(shown.err.startsWith("tarnwick-msg: ") && shown.err.contains(QFile::encodeName(path)), shown.err.constData());
    }
    QVERIFY(FileAttributes::exists(noise) && FileAttributes::exists(badMessage));
}

void tst_TarnwickMsg::usageErrorsExitWithTwo_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("nothing") << QStringList{};
    QTest::newRow("unknown command") << QStringList{QStringLiteral("frob")};
    QTest::newRow("exclude without paths") << QStringList{QStringLiteral("exclude"), QStringLiteral("--no-send")};
    QTest::newRow("clear with a path") << QStringList{QStringLiteral("clear"), QStringLiteral("/Applications/Foo.app")};
    QTest::newRow("show without a file") << QStringList{QStringLiteral("show")};
    QTest::newRow("show with two files") << QStringList{QStringLiteral("show"), QStringLiteral("a"), QStringLiteral("b")};
    QTest::newRow("show with --no-send") << QStringList{QStringLiteral("show"), QStringLiteral("--no-send"), QStringLiteral("a")};
    QTest::newRow("unknown option") << QStringList{QStringLiteral("--bogus"), QStringLiteral("clear")};
}

void tst_TarnwickMsg::usageErrorsExitWithTwo()
{
    QFETCH(QStringList, arguments);
    const Run result = run(arguments);
    QCOMPARE(result.exitCode, 2);
    QVERIFY(result.out.isEmpty());
    QCOMPARE(result.err.count('\n'), 1);
}

void tst_TarnwickMsg::opensTheFileWithTheHelper()
{
    const QString given = FakeApplications::makeScriptApp(m_sandbox->path(QStringLiteral("Given/Tarnwick Helper.app")),
                                                          BundleIdentifiers::helper());
    const Run sent = run({QStringLiteral("--helper"), given, QStringLiteral("exclude"), QStringLiteral("/Applications/Foo.app")});
    QCOMPARE(sent.exitCode, 0);
    QTRY_COMPARE_WITH_TIMEOUT(FakeApplications::received(given), QStringList{printedPath(sent)}, 5000);
    QStringList paths;
    QVERIFY(FileMessage::ReadExcludePaths(&paths, FileMessage::loadFromFile(printedPath(sent))));
    QCOMPARE(paths, QStringList{QStringLiteral("/Applications/Foo.app")});

    const Run missing = run({QStringLiteral("--helper"), m_sandbox->path(QStringLiteral("None.app")), QStringLiteral("clear")});
    QCOMPARE(missing.exitCode, 1);
    QCOMPARE(missing.err.count('\n'), 1);
    QVERIFY(FileAttributes::exists(printedPath(missing)));

    if (!Workspace::runningApplications(BundleIdentifiers::helper()).isEmpty())
        QSKIP("another Tarnwick Helper runs for this user");
    FakeApplications fakes;
    const QString running = fakes.startRunningApp(m_sandbox->path(QStringLiteral("Running/Tarnwick Helper.app")), BundleIdentifiers::helper());
    QVERIFY(!running.isNull());
    const Run toRunning = run({QStringLiteral("clear")});
    QCOMPARE(toRunning.exitCode, 0);
    QTRY_COMPARE_WITH_TIMEOUT(FakeApplications::received(running), QStringList{printedPath(toRunning)}, 5000);
}

QTEST_GUILESS_MAIN(tst_TarnwickMsg)
#include "tst_TarnwickMsg.moc"
