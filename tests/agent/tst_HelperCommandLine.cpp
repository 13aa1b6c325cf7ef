#include "agent/AgentLauncher.h"
#include "agent/DisplayPlatform.h"
#include "agent/HelperCommandLine.h"
#include "platform/Delays.h"
#include "platform/LoginItems.h"
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
        environment.insert(u"XDG_CONFIG_HOME"_s, m_home.filePath(u"xdg-config"_s));
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
    // has a space) in $XDG_CONFIG_HOME, or in the home given, and a failure for what it
    // does not understand.
    void theHelperAnswersFromOutside()
    {
        QVERIFY(helper({u"--version"_s}).out.startsWith("tarnwick-helper "));
        const QByteArray help = helper({u"--help"_s}).out;
        QVERIFY(help.contains("Usage: tarnwick-helper") && help.contains("--home"));
        const Run unknown = helper({u"--no-such-option"_s});
        QVERIFY(unknown.exitCode == 2 && unknown.err.contains("no-such-option"));

        for (const QStringList &home : {QStringList(), QStringList{u"--home"_s, m_home.path()}}) {
            const QString folder = m_home.filePath(home.isEmpty() ? u"xdg-config"_s : u".config"_s);
            const QString entry = folder + u"/autostart/com.corbelle.Tarnwick-HelperS.desktop"_s;
            QCOMPARE(helper(home + QStringList{u"--enable-login-item"_s}).exitCode, 0);
            QFile file(entry);
            QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(entry));
            const QByteArray text = file.readAll();
            QVERIFY2(text.contains("Exec=\"" + QFile::encodeName(QStringLiteral(TW_HELPER_EXECUTABLE)) + "\""), text.constData());
            QCOMPARE(helper(home + QStringList{u"--disable-login-item"_s}).exitCode, 0);
            QVERIFY(!QFileInfo::exists(entry));
        }
        QCOMPARE(LoginItems::configFolder(u"/h"_s, false, u"relative"_s), u"/h/.config"_s);
    }

    // A test's delay divisor is taken (by test builds) and never passed on to the
    // processes the helper starts.
    void takesTheTestDivisorAndPassesItOn()
    {
        qputenv(Delays::kTestDivisorVariable, "7");
        AgentLauncher::adoptTestDivisor();
        QVERIFY(!qEnvironmentVariableIsSet(Delays::kTestDivisorVariable));
#ifdef TW_TEST_DELAYS
        QCOMPARE(Delays::testDivisor(), 7);
#endif
    }

    void choosesTheDisplay_data()
    {
        QTest::addColumn<QStringList>("variables");
        QTest::addColumn<QString>("platform");
        QTest::newRow("the user's choice") << QStringList{"QT_QPA_PLATFORM=wayland", "DISPLAY=:0"} << QString();
        QTest::newRow("X11") << QStringList{"DISPLAY=:0"} << "xcb";
        QTest::newRow("Wayland with XWayland") << QStringList{"DISPLAY=:0", "WAYLAND_DISPLAY=wayland-0"} << "xcb;wayland";
        QTest::newRow("Wayland alone") << QStringList{"WAYLAND_DISPLAY=wayland-0"} << "wayland;offscreen";
        QTest::newRow("no display") << QStringList{"DISPLAY="} << "offscreen";
    }
    void choosesTheDisplay()
    {
        QFETCH(QStringList, variables);
        QProcessEnvironment environment;
        for (const QString &variable : variables)
            environment.insert(variable.section(u'=', 0, 0), variable.section(u'=', 1));
        QTEST(DisplayPlatform::choose(environment), "platform");
    }
};

QTEST_GUILESS_MAIN(tst_HelperCommandLine)
#include "tst_HelperCommandLine.moc"
