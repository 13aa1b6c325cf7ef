#include "TestSandbox.h"
#include "platform/Workspace.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTest>

class tst_Workspace : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void findsInstalledCopiesInBothFolders();
    void opensFilesWithAnApplicationsExecutable();
    void findsRunningInstancesThroughTheirExecutable();

private:
    QString makeRecordingApp(const QString &path, const QString &identifier, const QString &record);
    std::unique_ptr<TestSandbox> m_sandbox;
};

void tst_Workspace::initTestCase()
{
    m_sandbox = std::make_unique<TestSandbox>();
}

// An application whose executable writes its argument into the record file.
QString tst_Workspace::makeRecordingApp(const QString &path, const QString &identifier, const QString &record)
{
    TestSandbox::makeApp(path, identifier, QStringLiteral("run"));
    const QString script = path + QStringLiteral("/Contents/MacOS/run");
    QFile file(script);
    if (file.open(QIODevice::WriteOnly))
        file.write(QStringLiteral("#!/bin/sh\nprintf '%s' \"$1\" > '%1'\n").arg(record).toUtf8());
    file.close();
    file.setPermissions(file.permissions() | QFile::ExeOwner);
    return path;
}

void tst_Workspace::findsInstalledCopiesInBothFolders()
{
    const QString system = m_sandbox->systemApplications();
    const QString user = m_sandbox->path(QStringLiteral("Applications"));
    const QString top = TestSandbox::makeApp(system + QStringLiteral("/Foo.app"), QStringLiteral("com.example.Foo"));
    const QString nested = TestSandbox::makeApp(user + QStringLiteral("/Tools/Foo Copy.app"), QStringLiteral("COM.example.foo"));
    TestSandbox::makeApp(user + QStringLiteral("/Tools/Deeper/Too Deep.app"), QStringLiteral("com.example.Foo"));
    TestSandbox::makeApp(system + QStringLiteral("/Outer.app/Contents/Inner.app"), QStringLiteral("com.example.Foo"));
    TestSandbox::makeApp(system + QStringLiteral("/Other.app"), QStringLiteral("com.example.Other"));

    QCOMPARE(Workspace::applicationFolders(), (QStringList{system, user}));
    QCOMPARE(Workspace::installedApplications(QStringLiteral("com.example.Foo")), (QStringList{top, nested}));
    QCOMPARE(Workspace::urlForApplicationWithBundleIdentifier(QStringLiteral("com.example.Foo")), top);
    QVERIFY(Workspace::installedApplications(QStringLiteral("com.example.Missing")).isEmpty());
    QVERIFY(Workspace::installedApplications(QString()).isEmpty());
}

void tst_Workspace::opensFilesWithAnApplicationsExecutable()
{
    const QString record = m_sandbox->path(QStringLiteral("received.txt"));
    const QString app = makeRecordingApp(m_sandbox->path(QStringLiteral("Recorder.app")), QStringLiteral("com.example.Rec"), record);
    const QString message = m_sandbox->path(QStringLiteral("message with spaces.trfortw"));

    const auto received = [&record] {
        QFile file(record);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    };
    QVERIFY(Workspace::openFile(message, app));
    QTRY_COMPARE_WITH_TIMEOUT(received(), message, 5000);

    // The executable itself is accepted as the application too.
    QVERIFY(Workspace::openFile(QStringLiteral("second"), app + QStringLiteral("/Contents/MacOS/run")));
    QTRY_COMPARE_WITH_TIMEOUT(received(), QStringLiteral("second"), 5000);

    QVERIFY(!Workspace::openFile(message, m_sandbox->path(QStringLiteral("Missing.app"))));
    QVERIFY(!Workspace::openFile(message, TestSandbox::makeApp(m_sandbox->path(QStringLiteral("NoExe.app")), QStringLiteral("x"))));
}

void tst_Workspace::findsRunningInstancesThroughTheirExecutable()
{
    const QString app = TestSandbox::makeApp(m_sandbox->path(QStringLiteral("Sleeper.app")), QStringLiteral("com.example.Sleeper"),
                                             QStringLiteral("sleeper"));
    const QString executable = app + QStringLiteral("/Contents/MacOS/sleeper");
    QVERIFY(QFile::copy(QStringLiteral("/bin/sleep"), executable));
    QProcess process;
    process.start(executable, {QStringLiteral("30")});
    QVERIFY(process.waitForStarted());

    const auto running = Workspace::runningApplications(QStringLiteral("com.example.Sleeper"));
    const qint64 pid = process.processId();
    process.kill();
    process.waitForFinished();
    QCOMPARE(running.size(), 1);
    QCOMPARE(running.first().pid, pid);
    QCOMPARE(running.first().executablePath, executable);
    QCOMPARE(running.first().bundlePath, app);
    QVERIFY(Workspace::runningApplications(QStringLiteral("com.example.Missing")).isEmpty());
}

QTEST_GUILESS_MAIN(tst_Workspace)
#include "tst_Workspace.moc"
