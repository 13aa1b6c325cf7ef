#include "TestSandbox.h"
#include "platform/Bundle.h"
#include "platform/Workspace.h"

#include <QDir>
#include <QFile>
#include <QTest>

// Running instances and opening files with an application are covered by the hand-off
// tests (tests/messaging), which start and find recording applications.
class tst_Workspace : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox.emplace(); }

    void readsBundlesAndAnswersNothingForWhatIsMissingOrMistyped()
    {
        const QString foo = TestSandbox::makeApp(m_sandbox->path("Foo.app"), "com.example.Foo", "Foo");
        QCOMPARE(Bundle::bundleWithPath(foo).value().bundleIdentifier(), QString("com.example.Foo"));
        QCOMPARE(Bundle::bundleWithPath(foo).value().executablePath(), foo + "/Contents/MacOS/Foo");
        QVERIFY(!Bundle::bundleWithPath(QString()).has_value());
        QVERIFY(!Bundle::bundleWithPath(m_sandbox->path("Missing.app")).has_value());
        QVERIFY(!Bundle::bundleWithPath(TestSandbox::makeFile(m_sandbox->path("File.app"), 3)).has_value());
        // A folder without a readable list is a bundle without an identifier. (Mistyped
        // identifiers and executables leaving the bundle are fuzzed from seeds in tests/fuzz.)
        QDir().mkpath(m_sandbox->path("Bare.app"));
        TestSandbox::makeFile(m_sandbox->path("Garbage.app/Contents/Info.plist"), 100);
        for (const char *name : {"Bare.app", "Garbage.app"})
            QVERIFY2(Bundle::bundleWithPath(m_sandbox->path(name)).value().bundleIdentifier().isNull(), name);
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
        // Opening a file needs an application with an executable.
        QVERIFY(!Workspace::openFile(top, m_sandbox->path("Missing.app")));
        QVERIFY(!Workspace::openFile(top, top));
    }

private:
    std::optional<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_Workspace)
#include "tst_Workspace.moc"
