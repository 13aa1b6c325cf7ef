#include "agent/HelperCommandLine.h"
#include "support/ProgramRun.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using Mode = HelperCommandLine::Mode;

class tst_HelperCommandLine : public QObject
{
    Q_OBJECT
    QTemporaryDir m_home;
    QTemporaryDir m_runtime;

    // Runs a program to its end with the test's runtime folder.
    using Run = ProgramRun;
    Run run(const QString &program, const QStringList &arguments) const { return ProgramRun::of(program, arguments, environment()); }
    Run helper(const QStringList &arguments) const { return run(QStringLiteral(TW_HELPER_EXECUTABLE), arguments); }
    QProcessEnvironment environment() const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_RUNTIME_DIR"_s, m_runtime.path());
        return environment;
    }

private Q_SLOTS:
    // What the built program answers below (help, the login item, an unknown option)
    // is not parsed again here.
    void choosesTheJob_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<Mode>("mode");
        QTest::newRow("agent") << QStringList{} << Mode::Agent;
        QTest::newRow("version") << QStringList{"-v"} << Mode::Version;
        QTest::newRow("list") << QStringList{"--home", "/h", "--list-remains", "/x/Foo.app"} << Mode::ListRemains;
        QTest::newRow("both login") << QStringList{"--enable-login-item", "--disable-login-item"} << Mode::Error;
        QTest::newRow("empty home") << QStringList{"--home", ""} << Mode::Error;
        QTest::newRow("files") << QStringList{"a.msgfortwhelp", "b"} << Mode::Agent;
    }
    void choosesTheJob()
    {
        QFETCH(QStringList, arguments);
        QFETCH(Mode, mode);
        const auto parsed = HelperCommandLine::parse(QStringList{u"tarnwick-helper"_s} + arguments);
        QCOMPARE(parsed.mode(), mode);
        QCOMPARE(parsed.mode() == Mode::Error, !parsed.errorText().isEmpty());
        if (mode == Mode::ListRemains)
            QVERIFY(parsed.home() == u"/h"_s && parsed.remainsOf() == u"/x/Foo.app"_s);
        if (qstrcmp(QTest::currentDataTag(), "files") == 0)
            QCOMPARE(parsed.files(), arguments);
    }

    // The built program: its answers, its login item (quoted: the bundle's folder name
    // has a space), and a failure for what it does not understand.
    void theHelperAnswersFromOutside()
    {
        QVERIFY(helper({u"--version"_s}).out.startsWith("tarnwick-helper "));
        const QByteArray help = helper({u"--help"_s}).out;
        QVERIFY(help.contains("Usage: tarnwick-helper") && help.contains("--home"));
        const Run unknown = helper({u"--no-such-option"_s});
        QVERIFY(unknown.exitCode == 2 && unknown.err.contains("no-such-option"));

        const QString entry = m_home.filePath(u".config/autostart/com.corbelle.Tarnwick-HelperS.desktop"_s);
        QCOMPARE(helper({u"--home"_s, m_home.path(), u"--enable-login-item"_s}).exitCode, 0);
        QFile file(entry);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray text = file.readAll();
        QVERIFY2(text.contains("Exec=\"" + QFile::encodeName(QStringLiteral(TW_HELPER_EXECUTABLE)) + "\""), text.constData());
        QVERIFY(text.contains("Type=Application"));
        QCOMPARE(helper({u"--home"_s, m_home.path(), u"--disable-login-item"_s}).exitCode, 0);
        QVERIFY(!QFileInfo::exists(entry));
    }

    // The agent makes its Trash and watches it; the main application's side writes a
    // command file and opens it with the helper, and the new start passes it to the
    // running agent, which reads and consumes it. A second agent for the same user does
    // not start; the first quits cleanly on SIGTERM.
    void theAgentTakesLaterStartsAndQuitsOnSigterm()
    {
        QProcess agent;
        agent.setProcessEnvironment(environment());
        agent.start(QStringLiteral(TW_HELPER_EXECUTABLE), {u"--home"_s, m_home.path()});
        QByteArray output;
        QTRY_VERIFY_WITH_TIMEOUT((output += agent.readAllStandardOutput()).contains("watching"), 30000);
        QVERIFY(QFileInfo(m_home.filePath(u".local/share/Trash/files"_s)).isDir());

        const Run sender = run(QStringLiteral(TW_TARNWICK_MSG), {u"exclude"_s, u"/Applications/Foo.app"_s});
        QCOMPARE(sender.exitCode, 0);
        const QString file = QString::fromUtf8(sender.out).trimmed();
        QVERIFY2(file.endsWith(u".msgfortwhelp"_s), qPrintable(file));
        QTRY_VERIFY_WITH_TIMEOUT(!QFileInfo::exists(file), 30000);

        const Run second = helper({u"--home"_s, m_home.path()});
        QVERIFY(second.exitCode == 0 && second.err.contains("already running"));

        agent.terminate();
        QVERIFY(agent.waitForFinished(30000));
        QVERIFY(agent.exitStatus() == QProcess::NormalExit && agent.exitCode() == 0);
    }
};

QTEST_GUILESS_MAIN(tst_HelperCommandLine)
#include "tst_HelperCommandLine.moc"
