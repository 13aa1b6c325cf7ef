#include "TestSandbox.h"
#include "core/PathsGenerator.h"

#include <QDir>
#include <QTest>

class tst_PathsGenerator : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void derivesEveryFolderFromTheHome();
    void joinsPathComponents();
    void expandsOnlyATildeWithSlash();
    void testsTrashMembershipByFolder();

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

void tst_PathsGenerator::initTestCase()
{
    m_sandbox = std::make_unique<TestSandbox>();
}

void tst_PathsGenerator::derivesEveryFolderFromTheHome()
{
    const PathsGenerator &paths = PathsGenerator::GetInstance();
    const QString home = m_sandbox->home();
    QCOMPARE(paths.getHomeDirectory(), home);
    QVERIFY(!paths.userName().isEmpty());
    QCOMPARE(paths.buildUserApplicationsDirectory(), home + QStringLiteral("/Applications"));
    QCOMPARE(paths.buildUserDownloadsDirectory(), home + QStringLiteral("/Downloads"));
    QCOMPARE(paths.buildUserLibraryDirectory(), home + QStringLiteral("/Library"));
    QCOMPARE(paths.buildUserApplicationSupportDirectory(), home + QStringLiteral("/Library/Application Support"));
    QCOMPARE(paths.buildUserPreferencePanesDirectory(), home + QStringLiteral("/Library/PreferencePanes"));
    // The Trash is the freedesktop one, and exists once it has been looked up.
    QCOMPARE(paths.buildTrashDirectory(), home + QStringLiteral("/.local/share/Trash/files"));
    QVERIFY(QFileInfo(paths.buildTrashDirectory()).isDir());

    const QString support = home + QStringLiteral("/.local/share/com.corbelle.Tarnwick-HelperS");
    QCOMPARE(paths.buildApplicationFolderPathInApplicationSupport(), support);
    QVERIFY(!QFileInfo::exists(support));
    QCOMPARE(paths.buildFolderInApplicationSupportWithName(QStringLiteral("Logs")), support + QStringLiteral("/Logs"));
    QVERIFY(QFileInfo(support + QStringLiteral("/Logs")).isDir());
}

void tst_PathsGenerator::joinsPathComponents()
{
    QCOMPARE(PathsGenerator::joinPath(QStringLiteral("/Users/a"), QStringLiteral("/Applications")), QStringLiteral("/Users/a/Applications"));
    QCOMPARE(PathsGenerator::joinPath(QStringLiteral("/Users/a/"), QStringLiteral("Library")), QStringLiteral("/Users/a/Library"));
    QCOMPARE(PathsGenerator::joinPath(QStringLiteral("/"), QStringLiteral("x")), QStringLiteral("/x"));
    QCOMPARE(PathsGenerator::joinPath(QStringLiteral("/a"), QString()), QStringLiteral("/a"));
    QCOMPARE(PathsGenerator::joinPath(QString(), QStringLiteral("b")), QStringLiteral("b"));
}

void tst_PathsGenerator::expandsOnlyATildeWithSlash()
{
    const PathsGenerator &paths = PathsGenerator::GetInstance();
    QCOMPARE(paths.expandTildeInPath(QStringLiteral("~/Library/Caches")), m_sandbox->home() + QStringLiteral("/Library/Caches"));
    QCOMPARE(paths.expandTildeInPath(QStringLiteral("~")), QStringLiteral("~"));
    QCOMPARE(paths.expandTildeInPath(QStringLiteral("~user/x")), QStringLiteral("~user/x"));
    QCOMPARE(paths.expandTildeInPath(QStringLiteral("/abs/~/x")), QStringLiteral("/abs/~/x"));
}

void tst_PathsGenerator::testsTrashMembershipByFolder()
{
    const PathsGenerator &paths = PathsGenerator::GetInstance();
    const QString trash = paths.buildTrashDirectory();
    QVERIFY(paths.pathInTrash(trash + QStringLiteral("/Foo.app")));
    QVERIFY(!paths.pathInTrash(trash));
    QVERIFY(!paths.pathInTrash(trash + QStringLiteral("-other/Foo.app")));
    QVERIFY(!paths.pathInTrash(QString()));
}

QTEST_GUILESS_MAIN(tst_PathsGenerator)
#include "tst_PathsGenerator.moc"
