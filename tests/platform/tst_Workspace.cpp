#include "TestSandbox.h"
#include "platform/Workspace.h"

#include <QFile>
#include <QProcess>
#include <QTest>

class tst_Workspace : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox.emplace(); }

    void findsInstalledCopiesInBothFolders()
    {
        const QString system = m_sandbox->systemApplications();
        const QString user = m_sandbox->path("Applications");
        const QString top = TestSandbox::makeApp(system + "/Foo.app", "com.example.Foo");
        const QString nested = TestSandbox::makeApp(user + "/Tools/Foo Copy.app", "COM.example.foo");
        TestSandbox::makeApp(user + "/Tools/Deeper/Too Deep.app", "com.example.Foo");
        TestSandbox::makeApp(system + "/Outer.app/Contents/Inner.app", "com.example.Foo");
        TestSandbox::makeApp(system + "/Other.app", "com.example.Other");

        QCOMPARE(Workspace::applicationFolders(), (QStringList{system, user}));
        QCOMPARE(Workspace::installedApplications("com.example.Foo"), (QStringList{top, nested}));
        QCOMPARE(Workspace::urlForApplicationWithBundleIdentifier("com.example.Foo"), top);
        QVERIFY(Workspace::installedApplications("com.example.Missing").isEmpty());
        QVERIFY(Workspace::installedApplications(QString()).isEmpty());
    }

    void opensFilesWithAnApplicationsExecutable()
    {
        // An application whose executable writes its argument into the record file.
        const QString record = m_sandbox->path("received.txt");
        const QString app = TestSandbox::makeApp(m_sandbox->path("Recorder.app"), "com.example.Rec", "run");
        QFile script(app + "/Contents/MacOS/run");
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write(QString("#!/bin/sh\nprintf '%s' \"$1\" > '%1'\n").arg(record).toUtf8());
        script.close();
        script.setPermissions(script.permissions() | QFile::ExeOwner);
        const auto received = [&record] {
            QFile file(record);
            return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
        };

        const QString message = m_sandbox->path("message with spaces.trfortw");
        QVERIFY(Workspace::openFile(message, app));
        QTRY_COMPARE_WITH_TIMEOUT(received(), message, 5000);
        // The executable itself is accepted as the application too.
        QVERIFY(Workspace::openFile("second", script.fileName()));
        QTRY_COMPARE_WITH_TIMEOUT(received(), QString("second"), 5000);
        QVERIFY(!Workspace::openFile(message, m_sandbox->path("Missing.app")));
        QVERIFY(!Workspace::openFile(message, TestSandbox::makeApp(m_sandbox->path("NoExe.app"), "x")));
    }

    void findsRunningInstancesThroughTheirExecutable()
    {
        const QString app = TestSandbox::makeApp(m_sandbox->path("Sleeper.app"), "com.example.Sleeper", "sleeper");
        const QString executable = app + "/Contents/MacOS/sleeper";
        QVERIFY(QFile::copy("/bin/sleep", executable));
        QProcess process;
        process.start(executable, {"30"});
        QVERIFY(process.waitForStarted());
        const auto running = Workspace::runningApplications("com.example.Sleeper");
        const qint64 pid = process.processId();
        process.kill();
        process.waitForFinished();
        QCOMPARE(running.size(), 1);
        QCOMPARE(running.first().pid, pid);
        QCOMPARE(running.first().executablePath, executable);
        QCOMPARE(running.first().bundlePath, app);
        QVERIFY(Workspace::runningApplications("com.example.Missing").isEmpty());
    }

private:
    std::optional<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_Workspace)
#include "tst_Workspace.moc"
