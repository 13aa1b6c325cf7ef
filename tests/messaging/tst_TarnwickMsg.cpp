#include "FakeApplications.h"
#include "ProgramRun.h"
#include "TestSandbox.h"
#include "messaging/MessageFiles.h"
#include "messaging/WatcherMessage.h"
#include "platform/BundleIdentifiers.h"
#include "platform/FileAttributes.h"

#include <QJsonDocument>
#include <QSet>
#include <QTest>

#include <memory>
#include <vector>

namespace {

using Run = ProgramRun;

Run run(const QStringList &arguments) { return ProgramRun::of(TW_TARNWICK_MSG, arguments); }

} // namespace

// tarnwick-msg run as a process, with the sandbox's runtime directory.
class tst_TarnwickMsg : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }

    // exclude and clear write command files into the message folder and print their paths;
    // show prints a command file or a watcher message as JSON and leaves it in place.
    void writesAndShowsMessageFiles()
    {
        const Run exclude = run({"exclude", "--no-send", "--", "/Applications/Foo Bar.app", "-dash.app"});
        const Run clear = run({"clear", "--no-send"});
        QVERIFY(exclude.exitCode == 0 && clear.exitCode == 0);
        QCOMPARE(QFileInfo(exclude.printedPath()).absolutePath(), MessageFiles::folder());
        WatcherMessage message;
        message.setPathsForRemove({*PathForRemove::initWithPath("/home/a/Library/Caches/Foo", 8, "com.example.Foo")});
        const QList<std::pair<QString, QJsonDocument>> shown{
            {exclude.printedPath(), QJsonDocument::fromVariant(QVariantMap{
                                        {"command", "exclude-paths"}, {"paths", QVariantList{"/Applications/Foo Bar.app", "-dash.app"}}})},
            {clear.printedPath(), QJsonDocument::fromVariant(QVariantMap{{"command", "clear-exclude-paths"}})},
            {message.saveForTransmit(), QJsonDocument(message.toJson())}};
        for (const auto &[file, json] : shown) {
            const Run show = run({"show", file});
            QCOMPARE(show.exitCode, 0);
            QCOMPARE(QJsonDocument::fromJson(show.out), json);
            QVERIFY(FileAttributes::exists(file));
        }
    }

    // Undecodable or unreadable: exit 1, one line naming the file, the file left alone.
    // Usage errors: exit 2 and one line.
    void reportsErrorsInOneLine()
    {
        const QString noise = TestSandbox::makeFile(m_sandbox->path("noise.msgfortwhelp"), 300);
        const QString noRecords = WatcherMessage().saveForTransmit();
        const QStringList refused{noise, noRecords, TW_FIXTURES_DIR "/cycle.msgfortwhelp", m_sandbox->path("missing"), m_sandbox->home()};
        for (const QString &path : refused) {
            const Run shown = run({"show", path});
            QCOMPARE(shown.exitCode, 1);
            QVERIFY(shown.out.isEmpty() && shown.err.count('\n') == 1);
            QVERIFY2(shown.err.startsWith("tarnwick-msg: ") && shown.err.contains(QFile::encodeName(path)), shown.err.constData());
        }
        QVERIFY(FileAttributes::exists(noise) && FileAttributes::exists(noRecords));

        const QList<QStringList> usageErrors{{}, {"frob"}, {"exclude", "--no-send"}, {"clear", "/Applications/Foo.app"}, {"show"},
                                             {"show", "a", "b"}, {"show", "--no-send", "a"}, {"--bogus", "clear"}};
        for (const QStringList &arguments : usageErrors) {
            const Run result = run(arguments);
            QVERIFY2(result.exitCode == 2 && result.out.isEmpty() && result.err.count('\n') == 1, qPrintable(arguments.join(' ')));
        }
    }

    // The helper given, else the running one, is started with the file; one that cannot be
    // started leaves the file written and fails.
    void opensTheFileWithTheHelper()
    {
        const QString given = FakeApplications::makeScriptApp(m_sandbox->path("Given/Tarnwick Helper.app"), BundleIdentifiers::helper());
        const Run sent = run({"--helper", given, "exclude", "/Applications/Foo.app"});
        QCOMPARE(sent.exitCode, 0);
        QTRY_COMPARE_WITH_TIMEOUT(FakeApplications::received(given), QStringList{sent.printedPath()}, 5000);
        const Run missing = run({"--helper", m_sandbox->path("None.app"), "clear"});
        QVERIFY(missing.exitCode == 1 && missing.err.count('\n') == 1);
        QVERIFY(FileAttributes::exists(missing.printedPath()));

        if (!Workspace::runningApplications(BundleIdentifiers::helper()).isEmpty())
            QSKIP("another Tarnwick Helper runs for this user");
        FakeApplications fakes;
        const QString running = fakes.startRunningApp(m_sandbox->path("Running/Tarnwick Helper.app"), BundleIdentifiers::helper());
        QVERIFY(!running.isNull());
        const Run toRunning = run({"clear"});
        QCOMPARE(toRunning.exitCode, 0);
        QTRY_COMPARE_WITH_TIMEOUT(FakeApplications::received(running), QStringList{toRunning.printedPath()}, 5000);
    }

    // Parallel runs, whose name counters all start at 1, each write a file of their own:
    // a name another run took first is drawn again.
    void parallelRunsWriteFilesOfTheirOwn()
    {
        std::vector<std::unique_ptr<QProcess>> runs;
        for (int i = 0; i < 40; ++i) {
            runs.push_back(std::make_unique<QProcess>());
            runs.back()->start(TW_TARNWICK_MSG, {"clear", "--no-send"});
        }
        QSet<QString> files;
        for (const auto &run : runs) {
            QVERIFY(run->waitForFinished(30000));
            QVERIFY2(run->exitCode() == 0, run->readAllStandardError().constData());
            files.insert(QString::fromLocal8Bit(run->readAllStandardOutput()).trimmed());
        }
        QCOMPARE(files.size(), 40);
    }

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_TarnwickMsg)
#include "tst_TarnwickMsg.moc"
