#include "core/HelperCommandLine.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using Mode = HelperCommandLine::Mode;

class tst_HelperCommandLine : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void choosesTheJob_data();
    void choosesTheJob();
    void theHelperAnswersFromOutside();
    void theAgentQuitsCleanlyOnSigterm();
    void switchesTheLoginItem();
    void laterStartsHandCommandFilesToTheAgent();
};

void tst_HelperCommandLine::choosesTheJob_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("mode");
    QTest::newRow("agent") << QStringList{} << int(Mode::Agent);
    QTest::newRow("help") << QStringList{"--help"} << int(Mode::Help);
    QTest::newRow("version") << QStringList{"-v"} << int(Mode::Version);
    QTest::newRow("list") << QStringList{"--home", "/h", "--list-remains", "/x/Foo.app"} << int(Mode::ListRemains);
    QTest::newRow("login on") << QStringList{"--enable-login-item"} << int(Mode::EnableLoginItem);
    QTest::newRow("login off") << QStringList{"--disable-login-item"} << int(Mode::DisableLoginItem);
    QTest::newRow("both login") << QStringList{"--enable-login-item", "--disable-login-item"} << int(Mode::Error);
    QTest::newRow("unknown") << QStringList{"--frobnicate"} << int(Mode::Error);
    QTest::newRow("empty home") << QStringList{"--home", ""} << int(Mode::Error);
    QTest::newRow("files") << QStringList{"a.msgfortwhelp", "b"} << int(Mode::Agent);
}

void tst_HelperCommandLine::choosesTheJob()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, mode);
    const auto parsed = HelperCommandLine::parse(QStringList{QStringLiteral("tarnwick-helper")} + arguments);
    QCOMPARE(int(parsed.mode()), mode);
    if (parsed.mode() == Mode::ListRemains) {
        QCOMPARE(parsed.home(), QStringLiteral("/h"));
        QCOMPARE(parsed.remainsOf(), QStringLiteral("/x/Foo.app"));
    }
    if (QTest::currentDataTag() == QLatin1String("files"))
        QCOMPARE(parsed.files(), (QStringList{QStringLiteral("a.msgfortwhelp"), QStringLiteral("b")}));
    if (parsed.mode() == Mode::Error)
        QVERIFY(!parsed.errorText().isEmpty());
}

void tst_HelperCommandLine::theHelperAnswersFromOutside()
{
    QProcess helper;
    helper.start(QStringLiteral(TW_HELPER_EXECUTABLE), {QStringLiteral("--version")});
    QVERIFY(helper.waitForFinished(30000));
    QCOMPARE(helper.exitCode(), 0);
    QVERIFY(helper.readAllStandardOutput().startsWith("tarnwick-helper "));

    helper.start(QStringLiteral(TW_HELPER_EXECUTABLE), {QStringLiteral("--help")});
    QVERIFY(helper.waitForFinished(30000));
    const QByteArray help = helper.readAllStandardOutput();
    QVERIFY(help.contains("Usage: tarnwick-helper"));
    QVERIFY(help.contains("--home"));

    helper.start(QStringLiteral(TW_HELPER_EXECUTABLE), {QStringLiteral("--no-such-option")});
    QVERIFY(helper.waitForFinished(30000));
    QCOMPARE(helper.exitCode(), 2);
    QVERIFY(helper.readAllStandardError().contains("no-such-option"));
}

void tst_HelperCommandLine::theAgentQuitsCleanlyOnSigterm()
{
    QTemporaryDir home;
    QProcess helper;
    helper.start(QStringLiteral(TW_HELPER_EXECUTABLE), {QStringLiteral("--home"), home.path()});
    QVERIFY(helper.waitForStarted());
    QByteArray output;
    QTRY_VERIFY_WITH_TIMEOUT((output += helper.readAllStandardOutput()).contains("watching"), 30000);
    QVERIFY(QFileInfo(home.filePath(QStringLiteral(".local/share/Trash/files"))).isDir());
    ::kill(static_cast<pid_t>(helper.processId()), SIGTERM);
    QVERIFY(helper.waitForFinished(30000));
    QCOMPARE(helper.exitStatus(), QProcess::NormalExit);
    QCOMPARE(helper.exitCode(), 0);
}

void tst_HelperCommandLine::switchesTheLoginItem()
{
    QTemporaryDir home;
    const QString entry = home.filePath(QStringLiteral(".config/autostart/com.corbelle.Tarnwick-HelperS.desktop"));
    QProcess helper;
    helper.start(QStringLiteral(TW_HELPER_EXECUTABLE), {QStringLiteral("--home"), home.path(), QStringLiteral("--enable-login-item")});
    QVERIFY(helper.waitForFinished(30000));
    QCOMPARE(helper.exitCode(), 0);
    QFile file(entry);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray text = file.readAll();
    // The bundle's folder name has a space: the path is quoted for the desktop.
    QVERIFY2(text.contains("Exec=\"" + QFile::encodeName(QStringLiteral(TW_HELPER_EXECUTABLE)) + "\""), text.constData());
    QVERIFY(text.contains("Type=Application"));

    helper.start(QStringLiteral(TW_HELPER_EXECUTABLE), {QStringLiteral("--home"), home.path(), QStringLiteral("--disable-login-item")});
    QVERIFY(helper.waitForFinished(30000));
    QCOMPARE(helper.exitCode(), 0);
    QVERIFY(!QFileInfo::exists(entry));
}

void tst_HelperCommandLine::laterStartsHandCommandFilesToTheAgent()
{
    QTemporaryDir home;
    QTemporaryDir runtime;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime.path());
    QProcess agent;
    agent.setProcessEnvironment(environment);
    agent.start(QStringLiteral(TW_HELPER_EXECUTABLE), {QStringLiteral("--home"), home.path()});
    QByteArray output;
    QTRY_VERIFY_WITH_TIMEOUT((output += agent.readAllStandardOutput()).contains("watching"), 30000);

    // The main application's side writes a command file and opens it with the helper;
    // the new start passes it to the running agent, which reads and consumes it.
    QProcess sender;
    sender.setProcessEnvironment(environment);
    sender.start(QStringLiteral(TW_TARNWICK_MSG), {QStringLiteral("exclude"), QStringLiteral("/Applications/Foo.app")});
    QVERIFY(sender.waitForFinished(30000));
    QCOMPARE(sender.exitCode(), 0);
    const QString file = QString::fromUtf8(sender.readAllStandardOutput()).trimmed();
    QVERIFY2(file.endsWith(QStringLiteral(".msgfortwhelp")), qPrintable(file));
    QTRY_VERIFY_WITH_TIMEOUT(!QFileInfo::exists(file), 30000);

    // A second agent for the same user does not start.
    QProcess second;
    second.setProcessEnvironment(environment);
    second.start(QStringLiteral(TW_HELPER_EXECUTABLE), {QStringLiteral("--home"), home.path()});
    QVERIFY(second.waitForFinished(30000));
    QCOMPARE(second.exitCode(), 0);
    QVERIFY(second.readAllStandardError().contains("already running"));

    agent.terminate();
    QVERIFY(agent.waitForFinished(30000));
    QCOMPARE(agent.exitCode(), 0);
}

QTEST_GUILESS_MAIN(tst_HelperCommandLine)
#include "tst_HelperCommandLine.moc"
