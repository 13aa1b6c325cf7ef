#include "TestSandbox.h"
#include "core/FileManagerUtils.h"
#include "core/StringExtra.h"
#include "core/StringFileManager.h"

#include <QDir>
#include <QFile>
#include <QTest>

class tst_FileManagerUtils : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void knowsTheTrash();
    void existenceDoesNotFollowTheFinalLink();
    void choosesFreshTemporaryPaths();
    void namesCopiesThatDoNotExistYet();
    void smallStringHelpers();

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

void tst_FileManagerUtils::initTestCase()
{
    m_sandbox = std::make_unique<TestSandbox>();
}

void tst_FileManagerUtils::knowsTheTrash()
{
    const QString trash = FileManagerUtils::getTrashPath();
    QCOMPARE(trash, m_sandbox->home() + QStringLiteral("/.local/share/Trash/files/"));
    QVERIFY(FileManagerUtils::isFileInTrash(trash + QStringLiteral("Foo.app")));
    QVERIFY(!FileManagerUtils::isFileInTrash(trash.chopped(1)));
    QVERIFY(!FileManagerUtils::isFileInTrash(QString()));
    QVERIFY(!FileManagerUtils::isFileLocked(trash));
}

void tst_FileManagerUtils::existenceDoesNotFollowTheFinalLink()
{
    const QString folder = m_sandbox->path(QStringLiteral("links"));
    QDir().mkpath(folder + QStringLiteral("/dir"));
    QVERIFY(QFile::link(folder + QStringLiteral("/gone"), folder + QStringLiteral("/dangling")));
    QVERIFY(QFile::link(folder + QStringLiteral("/dir"), folder + QStringLiteral("/to-dir")));

    bool isDir = true;
    QVERIFY(FileManagerUtils::fileExistsWithoutTraversingSymbolicLinkAtPath(folder + QStringLiteral("/dangling"), &isDir));
    QVERIFY(!isDir);
    QVERIFY(FileManagerUtils::fileExistsWithoutTraversingSymbolicLinkAtPath(folder + QStringLiteral("/to-dir"), &isDir));
    QVERIFY(isDir);
    QVERIFY(FileManagerUtils::isFileAtPathSymbolicLink(folder + QStringLiteral("/to-dir")));
    QVERIFY(!FileManagerUtils::fileExistsWithoutTraversingSymbolicLinkAtPath(folder + QStringLiteral("/missing"), &isDir));
    QVERIFY(!FileManagerUtils::fileExistsWithoutTraversingSymbolicLinkAtPath(QString(), &isDir));
    QVERIFY(!isDir);
}

void tst_FileManagerUtils::choosesFreshTemporaryPaths()
{
    const QString path = FileManagerUtils::getTempFilePathWithExt(QStringLiteral("txt"));
    QVERIFY(path.startsWith(m_sandbox->runtimeDirectory() + QLatin1Char('/')));
    QVERIFY(path.endsWith(QStringLiteral(".txt")));
    QCOMPARE(QFileInfo(path).completeBaseName().size(), 10);
    QVERIFY(!QFileInfo::exists(path));

    const QString inFolder = FileManagerUtils::getTempFilePathWithFileName(QStringLiteral("report.json"));
    QCOMPARE(QFileInfo(inFolder).fileName(), QStringLiteral("report.json"));
    QVERIFY(QFileInfo(QFileInfo(inFolder).absolutePath()).isDir());

    QCOMPARE(FileManagerUtils::randomStringWithLength(0), QString());
    QCOMPARE(FileManagerUtils::randomStringWithLength(-3), QString());
    QCOMPARE(FileManagerUtils::randomStringWithLength(64, QStringLiteral("ab")).count(QLatin1Char('c')), 0);
    QCOMPARE(FileManagerUtils::randomStringWithLength(12).size(), 12);
}

void tst_FileManagerUtils::namesCopiesThatDoNotExistYet()
{
    const QString folder = m_sandbox->path(QStringLiteral("copies"));
    TestSandbox::makeFile(folder + QStringLiteral("/a.txt"));
    TestSandbox::makeFile(folder + QStringLiteral("/a 2.txt"));
    QVERIFY(QFile::link(folder + QStringLiteral("/nowhere"), folder + QStringLiteral("/b")));
    QCOMPARE(StringFileManager::getNameForCopiedFile(QStringLiteral("a.txt"), folder), QStringLiteral("a 3.txt"));
    QCOMPARE(StringFileManager::getNameForCopiedFile(QStringLiteral("new.txt"), folder), QStringLiteral("new.txt"));
    // A dangling link still takes its name.
    QCOMPARE(StringFileManager::getNameForCopiedFile(QStringLiteral("b"), folder), QStringLiteral("b 2"));
    QCOMPARE(StringFileManager::getDisplayNameAtPath(QStringLiteral("/x/Foo Bar.app/")), QStringLiteral("Foo Bar.app"));
}

void tst_FileManagerUtils::smallStringHelpers()
{
    QVERIFY(StringExtra::hasCaseInsensitiveSuffix(QStringLiteral("Tools.PrefPane"), QStringLiteral(".prefpane")));
    QVERIFY(!StringExtra::hasCaseInsensitiveSuffix(QString(), QString()));
    QCOMPARE(StringExtra::stringByReplacingFirstOccuranceOfString(QStringLiteral("a-b-c"), QStringLiteral("-"), QStringLiteral("+")),
             QStringLiteral("a+b-c"));
    QCOMPARE(StringExtra::stringByReplacingFirstOccuranceOfString(QStringLiteral("abc"), QStringLiteral("x"), QStringLiteral("y")),
             QStringLiteral("abc"));
    QCOMPARE(StringExtra::asString(QVariant(5)), QString());
    QVERIFY(StringExtra::asString(QVariant(5)).isNull());
    QCOMPARE(StringExtra::asString(QStringLiteral("s")), QStringLiteral("s"));
}

QTEST_GUILESS_MAIN(tst_FileManagerUtils)
#include "tst_FileManagerUtils.moc"
