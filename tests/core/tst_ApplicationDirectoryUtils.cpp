#include "TestSandbox.h"
#include "core/ApplicationDirectoryUtils.h"
#include "core/ParentFolder.h"

#include <QDir>
#include <QTest>

class tst_ApplicationDirectoryUtils : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void recognisesApplications();
    void findsTheOutermostEnclosingBundle();
    void testsFolderMembershipAtASeparator();

private:
    std::unique_ptr<TestSandbox> m_sandbox;
    QString m_trash;
};

void tst_ApplicationDirectoryUtils::initTestCase()
{
    m_sandbox = std::make_unique<TestSandbox>();
    m_trash = m_sandbox->trash();
}

void tst_ApplicationDirectoryUtils::recognisesApplications()
{
    const QString app = TestSandbox::makeApp(m_trash + QStringLiteral("/Foo.app"), QStringLiteral("com.example.Foo"));
    QVERIFY(ApplicationDirectoryUtils::isApplicationAtPath(app));
    QVERIFY(ApplicationDirectoryUtils::isApplicationAtURL(QUrl::fromLocalFile(app)));
    QVERIFY(!ApplicationDirectoryUtils::isApplicationAtPath(m_trash));
    QVERIFY(!ApplicationDirectoryUtils::isApplicationAtPath(QString()));
    QVERIFY(!ApplicationDirectoryUtils::isApplicationAtURL(QUrl()));
    QVERIFY(!ApplicationDirectoryUtils::isApplicationAtURL(QUrl(QStringLiteral("https://example.com/Foo.app"))));
}

void tst_ApplicationDirectoryUtils::findsTheOutermostEnclosingBundle()
{
    const QString outer = TestSandbox::makeApp(m_trash + QStringLiteral("/Outer.app"), QStringLiteral("com.example.Outer"));
    TestSandbox::makeApp(outer + QStringLiteral("/Contents/Inner.app"), QStringLiteral("com.example.Inner"));
    TestSandbox::makeApp(outer + QStringLiteral("/Inner.app"), QStringLiteral("com.example.Inner"));
    const QString pane = m_trash + QStringLiteral("/Tools.PrefPane");
    TestSandbox::makeApp(pane + QStringLiteral("/Contents/Tool.app"), QStringLiteral("com.example.Tool"));

    QCOMPARE(ApplicationDirectoryUtils::parentBundlePathForPath(outer + QStringLiteral("/Contents/Inner.app")), outer);
    // The immediate parent is never tested: an app directly inside another counts as top-level.
    QVERIFY(ApplicationDirectoryUtils::parentBundlePathForPath(outer + QStringLiteral("/Inner.app")).isNull());
    QCOMPARE(ApplicationDirectoryUtils::parentBundlePathForPath(pane + QStringLiteral("/Contents/Tool.app")), pane);
    QVERIFY(ApplicationDirectoryUtils::parentAppPathForPath(pane + QStringLiteral("/Contents/Tool.app")).isNull());
    QCOMPARE(ApplicationDirectoryUtils::parentAppPathForPath(outer + QStringLiteral("/Contents/Inner.app/Contents/MacOS/x")), outer);
    QCOMPARE(ParentFolder::parentBundlePath(outer + QStringLiteral("/Contents/Inner.app")), outer);
    QVERIFY(ApplicationDirectoryUtils::parentBundlePathForPath(QStringLiteral("/a")).isNull());
    QVERIFY(ApplicationDirectoryUtils::parentBundlePathForPath(QString()).isNull());
    // A kernel extension's folder name matches without regard to case, without being a directory.
    QCOMPARE(ApplicationDirectoryUtils::parentBundlePathForPath(QStringLiteral("/x/Driver.KEXT/Contents/y")),
             QStringLiteral("/x/Driver.KEXT"));
}

void tst_ApplicationDirectoryUtils::testsFolderMembershipAtASeparator()
{
    QVERIFY(ParentFolder::isInFolder(QStringLiteral("/a/b/c"), QStringLiteral("/a/b")));
    QVERIFY(!ParentFolder::isInFolder(QStringLiteral("/a/bc"), QStringLiteral("/a/b")));
    QVERIFY(!ParentFolder::isInFolder(QStringLiteral("/a/b"), QStringLiteral("/a/b")));
    QVERIFY(!ParentFolder::isInFolder(QStringLiteral("/a/b/c"), QString()));
}

QTEST_GUILESS_MAIN(tst_ApplicationDirectoryUtils)
#include "tst_ApplicationDirectoryUtils.moc"
