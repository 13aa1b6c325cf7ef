#include "TestSandbox.h"
#include "core/FileManagerUtils.h"
#include "core/StringExtra.h"
#include "core/StringFileManager.h"

#include <QDir>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_FileManagerUtils : public QObject
{
    Q_OBJECT
    std::unique_ptr<TestSandbox> m_sandbox;

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }

    // The final link is not followed, whether it leads to a folder or nowhere.
    void existenceDoesNotFollowTheFinalLink()
    {
        const QString folder = m_sandbox->path(u"links"_s);
        QVERIFY(QDir().mkpath(folder + u"/dir"_s));
        QVERIFY(QFile::link(folder + u"/gone"_s, folder + u"/dangling"_s) && QFile::link(folder + u"/dir"_s, folder + u"/to-dir"_s));
        bool isDir = true;
        QVERIFY(FileManagerUtils::fileExistsWithoutTraversingSymbolicLinkAtPath(folder + u"/dangling"_s, &isDir) && !isDir);
        QVERIFY(FileManagerUtils::fileExistsWithoutTraversingSymbolicLinkAtPath(folder + u"/to-dir"_s, &isDir) && isDir);
        QVERIFY(FileManagerUtils::isFileAtPathSymbolicLink(folder + u"/to-dir"_s));
        QVERIFY(!FileManagerUtils::fileExistsWithoutTraversingSymbolicLinkAtPath(folder + u"/missing"_s, &isDir) && !isDir);
        QVERIFY(!FileManagerUtils::fileExistsWithoutTraversingSymbolicLinkAtPath(QString()));
    }

    // The Trash is tested by folder; temporary paths are fresh, in the private runtime
    // folder; a copy's name skips every name taken, a dangling link's included.
    void namesTrashTemporaryAndCopiedPaths()
    {
        const QString trash = FileManagerUtils::getTrashPath();
        QCOMPARE(trash, m_sandbox->home() + u"/.local/share/Trash/files/"_s);
        QVERIFY(FileManagerUtils::isFileInTrash(trash + u"Foo.app"_s) && !FileManagerUtils::isFileInTrash(trash.chopped(1)));
        QVERIFY(!FileManagerUtils::isFileLocked(trash));

        const QString path = FileManagerUtils::getTempFilePathWithExt(u"txt"_s);
        QVERIFY2(path.startsWith(m_sandbox->runtimeDirectory() + u'/') && path.endsWith(u".txt"_s), qPrintable(path));
        QVERIFY(QFileInfo(path).completeBaseName().size() == 10 && !QFileInfo::exists(path));
        QVERIFY(QFileInfo(QFileInfo(FileManagerUtils::getTempFilePathWithFileName(u"report.json"_s)).absolutePath()).isDir());
        QVERIFY(FileManagerUtils::randomStringWithLength(-3).isEmpty());
        QCOMPARE(FileManagerUtils::randomStringWithLength(64, u"ab"_s).count(u'c'), 0);

        const QString folder = m_sandbox->path(u"copies"_s);
        TestSandbox::makeFile(folder + u"/a.txt"_s);
        TestSandbox::makeFile(folder + u"/a 2.txt"_s);
        QVERIFY(QFile::link(folder + u"/nowhere"_s, folder + u"/b"_s));
        QCOMPARE(StringFileManager::getNameForCopiedFile(u"a.txt"_s, folder), u"a 3.txt"_s);
        QCOMPARE(StringFileManager::getNameForCopiedFile(u"new.txt"_s, folder), u"new.txt"_s);
        QCOMPARE(StringFileManager::getNameForCopiedFile(u"b"_s, folder), u"b 2"_s);
        QCOMPARE(StringFileManager::getDisplayNameAtPath(u"/x/Foo Bar.app/"_s), u"Foo Bar.app"_s);
    }

    void smallStringHelpers()
    {
        QVERIFY(StringExtra::hasCaseInsensitiveSuffix(u"Tools.PrefPane"_s, u".prefpane"_s));
        QVERIFY(!StringExtra::hasCaseInsensitiveSuffix(QString(), QString()));
        QCOMPARE(StringExtra::stringByReplacingFirstOccuranceOfString(u"a-b-c"_s, u"-"_s, u"+"_s), u"a+b-c"_s);
        QVERIFY(StringExtra::asString(QVariant(5)).isNull());
        QCOMPARE(StringExtra::asString(u"s"_s), u"s"_s);
    }
};

QTEST_GUILESS_MAIN(tst_FileManagerUtils)
#include "tst_FileManagerUtils.moc"
