#include "TestSandbox.h"
#include "platform/Bundle.h"
#include "platform/PropertyList.h"
#include "platform/Workspace.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTest>

class tst_Workspace : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox.emplace(); }

    void readsBundlesInBothLayouts()
    {
        const QString foo = bundle("Foo.app", {{"CFBundleIdentifier", "com.example.Foo"}, {"CFBundleExecutable", "Foo"}},
                                   "/Contents/Info.plist", PropertyList::Format::Binary);
        QCOMPARE(Bundle::bundleWithPath(foo).value().bundleIdentifier(), QString("com.example.Foo"));
        QCOMPARE(Bundle::bundleWithPath(foo).value().executablePath(), foo + "/Contents/MacOS/Foo");
        // A flat bundle keeps its list at the top.
        const QString flat = bundle("Flat.bundle", {{"CFBundleIdentifier", "com.example.Flat"}}, "/Info.plist");
        QCOMPARE(Bundle::bundleWithPath(flat).value().bundleIdentifier(), QString("com.example.Flat"));

        QVERIFY(!Bundle::bundleWithPath(QString()).has_value());
        QVERIFY(!Bundle::bundleWithPath(m_sandbox->path("Missing.app")).has_value());
        QVERIFY(!Bundle::bundleWithPath(TestSandbox::makeFile(m_sandbox->path("File.app"), 3)).has_value());
        // A folder without a readable list, or with a mistyped identifier, is a bundle without an identifier.
        QDir().mkpath(m_sandbox->path("Bare.app"));
        TestSandbox::makeFile(m_sandbox->path("Garbage.app/Contents/Info.plist"), 100);
        bundle("Numeric.app", {{"CFBundleIdentifier", qint64(5)}});
        for (const char *name : {"Bare.app", "Garbage.app", "Numeric.app"})
            QVERIFY2(Bundle::bundleWithPath(m_sandbox->path(name)).value().bundleIdentifier().isNull(), name);
        // The executable stays inside the bundle.
        for (const char *name : {"../../bin/sh", "..", "sub/tool"})
            QVERIFY2(Bundle::bundleWithPath(bundle("Escape.app", {{"CFBundleExecutable", name}})).value().executablePath().isNull(),
                     name);
    }

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
        // Opening a file (the hand-off tests open them with recording applications) needs
        // an application with an executable.
        QVERIFY(!Workspace::openFile(top, m_sandbox->path("Missing.app")));
        QVERIFY(!Workspace::openFile(top, top));
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
    QString bundle(const QString &name, const QVariantMap &info, const QString &list = "/Contents/Info.plist",
                   PropertyList::Format format = PropertyList::Format::Xml)
    {
        QFile file(TestSandbox::makeFile(m_sandbox->path(name + list)));
        if (file.open(QIODevice::WriteOnly))
            file.write(PropertyList::toData(info, format));
        return m_sandbox->path(name);
    }

    std::optional<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_Workspace)
#include "tst_Workspace.moc"
