#include "ProgramRun.h"
#include "TestSandbox.h"
#include "agent/AgentLauncher.h"
#include "messaging/FileMessage.h"
#include "platform/Delays.h"
#include "platform/InstanceLock.h"
#include "platform/LoginItems.h"
#include "platform/OpenFileRequests.h"

#include <QDir>
#include <QProcess>
#include <QTest>

#include <memory>
#include <vector>

using namespace Qt::StringLiterals;

// The real helper as a process on a sandbox home: its command line, how it starts (once
// per user, quietly, or saying in one line why it cannot) and when it ends. Each agent
// is known to run once it answers on its socket.
class tst_AgentProcess : public QObject
{
    Q_OBJECT
    static constexpr int kTimeoutMs = 30000;
    std::unique_ptr<TestSandbox> m_sandbox;
    QProcessEnvironment m_environment;

    std::unique_ptr<QProcess> startAgent(const QString &executable = QStringLiteral(TW_HELPER_EXECUTABLE)) const
    {
        auto agent = std::make_unique<QProcess>();
        agent->setProcessEnvironment(m_environment);
        agent->start(executable, {u"--home"_s, m_sandbox->home()});
        return agent;
    }
    ProgramRun run(const QStringList &arguments) const { return ProgramRun::of(QStringLiteral(TW_HELPER_EXECUTABLE), arguments, m_environment); }
    ProgramRun runHelper(const QStringList &files = {}) const { return run(QStringList{u"--home"_s, m_sandbox->home()} + files); }
    // One line on stderr and status 1.
    static bool failedSaying(const ProgramRun &run, const char *reason) { return run.exitCode == 1 && run.err.count('\n') == 1 && run.err.contains(reason); }
    static bool answers() { return OpenFileRequests::sendToRunningInstance({}, 1000); }
    // Ends the agent with SIGTERM; whether it ended cleanly.
    static bool endsCleanly(QProcess &agent)
    {
        agent.terminate();
        return agent.waitForFinished(kTimeoutMs) && agent.exitStatus() == QProcess::NormalExit && agent.exitCode() == 0;
    }
    // A copy of the built helper bundle inside an application, as the product lays it
    // out (files hard-linked); its executable.
    static QString helperInside(const QString &application)
    {
        const QString built = QDir::cleanPath(QFileInfo(QStringLiteral(TW_HELPER_EXECUTABLE)).absolutePath() + u"/../.."_s);
        const QString folder = application + u"/Contents/Library/LoginItems"_s;
        if (!QDir().mkpath(folder) || QProcess::execute(u"cp"_s, {u"-al"_s, built, folder}) != 0)
            return {};
        return folder + u'/' + QFileInfo(built).fileName() + u"/Contents/MacOS/"_s + QFileInfo(QStringLiteral(TW_HELPER_EXECUTABLE)).fileName();
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_sandbox = std::make_unique<TestSandbox>();
        m_environment = QProcessEnvironment::systemEnvironment(); // the sandbox's runtime directory included
        m_environment.insert(u"XDG_CONFIG_HOME"_s, m_sandbox->path(u"xdg-config"_s));
    }

    void answersItsCommandLine_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QByteArray>("printed"); // on stdout; errors print one line on stderr
        QTest::newRow("version") << QStringList{"--version"} << 0 << QByteArray("tarnwick-helper 1.");
        QTest::newRow("help") << QStringList{"--help"} << 0 << QByteArray("Usage: tarnwick-helper [options] [FILE...]");
        QTest::newRow("unknown option") << QStringList{"--no-such-option"} << 2 << QByteArray();
        QTest::newRow("both login switches") << QStringList{"--enable-login-item", "--disable-login-item"} << 2 << QByteArray();
        QTest::newRow("empty home") << QStringList{"--home", ""} << 2 << QByteArray();
    }
    void answersItsCommandLine()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, printed);
        const ProgramRun answer = run(arguments);
        QTEST(answer.exitCode, "exitCode");
        QVERIFY2(answer.exitCode == 0 ? answer.out.contains(printed) : answer.err.count('\n') == 1, answer.out + answer.err);
    }

    // The login item (quoted: the bundle's folder name has a space) goes to
    // $XDG_CONFIG_HOME, when absolute and no home is given, else to <home>/.config.
    void switchesTheLoginItem()
    {
        for (const QStringList &home : {QStringList(), QStringList{u"--home"_s, m_sandbox->home()}}) {
            const QString entry = m_sandbox->path(home.isEmpty() ? u"xdg-config"_s : u".config"_s) + u"/autostart/com.corbelle.Tarnwick-HelperS.desktop"_s;
            QCOMPARE(run(home + QStringList{u"--enable-login-item"_s}).exitCode, 0);
            QFile file(entry);
            QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(entry));
            const QByteArray text = file.readAll();
            QVERIFY2(text.contains("Exec=\"" + QFile::encodeName(QStringLiteral(TW_HELPER_EXECUTABLE)) + "\""), text.constData());
            QCOMPARE(run(home + QStringList{u"--disable-login-item"_s}).exitCode, 0);
            QVERIFY(!QFileInfo::exists(entry));
        }
        QCOMPARE(LoginItems::configFolder(u"/h"_s, false, u"relative"_s), u"/h/.config"_s);
    }

    // A test's delay divisor is taken (by test builds) and never passed on to the
    // processes the helper starts.
    void takesTheTestDivisorAndPassesItOn()
    {
        qputenv(Delays::kTestDivisorVariable, "7");
        Delays::adoptTestDivisor();
        QVERIFY(!qEnvironmentVariableIsSet(Delays::kTestDivisorVariable));
#ifdef TW_TEST_DELAYS
        QCOMPARE(Delays::testDivisor(), 7);
#endif
    }

    // A normal start prints nothing; a later start hands its files to the agent, one
    // without files ends at once; the agent quits cleanly on SIGTERM.
    void startsQuietlyAndTakesLaterStarts()
    {
        auto agent = startAgent();
        QTRY_VERIFY_WITH_TIMEOUT(answers(), kTimeoutMs);
        QVERIFY(QFileInfo(m_sandbox->home() + u"/.local/share/Trash/files"_s).isDir());
        const QString command = FileMessage::CreateMessageForHelperToExcludeRemovedPaths({u"/Applications/Foo.app"_s}).saveToFile();
        QCOMPARE(runHelper({command}).exitCode, 0);
        QTRY_VERIFY_WITH_TIMEOUT(!QFileInfo::exists(command), kTimeoutMs);
        const ProgramRun second = runHelper();
        QVERIFY2(second.exitCode == 0 && second.out.isEmpty() && second.err.count('\n') == 1, second.err.constData());
        QVERIFY(endsCleanly(*agent));
        QCOMPARE(agent->readAllStandardOutput() + agent->readAllStandardError(), QByteArray());
    }

    // Of several starts at once exactly one becomes the agent; the others end.
    void runsOnceWhenStartedSeveralTimesAtOnce()
    {
        std::vector<std::unique_ptr<QProcess>> starts;
        for (int i = 0; i < 4; ++i)
            starts.push_back(startAgent());
        const auto ended = [&] { return std::count_if(starts.cbegin(), starts.cend(), [](const auto &start) { return start->state() == QProcess::NotRunning; }); };
        QTRY_COMPARE_WITH_TIMEOUT(ended(), 3, kTimeoutMs);
        for (const auto &start : starts)
            QVERIFY(start->state() == QProcess::Running ? endsCleanly(*start) : start->exitCode() == 0);
    }

    // "Already running" only when an agent answers: a lock held by a process that does
    // not answer, or a socket path too long to listen on, ends the start with one line
    // and status 1.
    void saysWhyItCannotRun()
    {
        {
            const InstanceLock silent(OpenFileRequests::lockPath());
            QVERIFY(failedSaying(runHelper(), "no agent answers"));
        }
        const QString deep = m_sandbox->path(QString(100, u'r'));
        QVERIFY(QDir().mkpath(deep) && QFile::setPermissions(deep, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        m_environment.insert(u"XDG_RUNTIME_DIR"_s, deep);
        QVERIFY(failedSaying(runHelper(), "bytes long"));
        m_environment.insert(u"XDG_RUNTIME_DIR"_s, m_sandbox->runtimeDirectory());
    }

    // The application that holds the helper moved away, or replaced by a new copy (the
    // usual update): the agent quits. The new copy is put in place right after the old
    // one left, before the agent can look.
    void quitsWhenTheApplicationHoldingItIsMovedOrReplaced()
    {
        const QString application = m_sandbox->path(u"Applications/Tarnwick.app"_s);
        const QString update = m_sandbox->path(u"Downloads/Tarnwick.app"_s);
        for (const bool replaced : {false, true}) {
            const QString executable = helperInside(application);
            QVERIFY(!executable.isEmpty() && !helperInside(update).isEmpty());
            auto agent = startAgent(executable);
            QTRY_VERIFY_WITH_TIMEOUT(answers(), kTimeoutMs);
            QVERIFY(QDir().rename(application, m_sandbox->path(u"Old %1.app"_s.arg(replaced))));
            QVERIFY(!replaced || QDir().rename(update, application));
            QVERIFY(agent->waitForFinished(kTimeoutMs));
            QCOMPARE(agent->exitCode(), 0);
            QVERIFY(QDir(application).removeRecursively() && QDir(update).removeRecursively());
        }
    }
};

QTEST_GUILESS_MAIN(tst_AgentProcess)
#include "tst_AgentProcess.moc"
