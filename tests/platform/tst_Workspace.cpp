#include "TestSandbox.h"
#include "platform/Bundle.h"
#include "platform/Workspace.h"

#include <QTest>

// Running instances and opening files with an application are covered by the hand-off
// tests (tests/messaging), which start and find recording applications.
class tst_Workspace : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox.emplace(); }

    // Identifiers and executables are read from every application the other tests make;
    // here what is not a bundle, a bundle whose list cannot be read, and which of the
    // bundles in the application folders count as installed copies.
    void findsInstalledCopiesInBothFolders()
    {
        QVERIFY(!Bundle::bundleWithPath(QString()).has_value());
        QVERIFY(!Bundle::bundleWithPath(m_sandbox->path("Missing.app")).has_value());
        QVERIFY(!Bundle::bundleWithPath(TestSandbox::makeFile(m_sandbox->path("File.app"), 3)).has_value());
        TestSandbox::makeFile(m_sandbox->path("Garbage.app/Contents/Info.plist"), 100);
        QVERIFY(Bundle::bundleWithPath(m_sandbox->path("Garbage.app")).value().bundleIdentifier().isNull());

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
