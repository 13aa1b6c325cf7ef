#include "TestSandbox.h"
#include "core/ApplicationDirectoryUtils.h"
#include "core/FileManagerUtils.h"
#include "core/ParentFolder.h"
#include "core/StringExtra.h"

#include <QDir>
#include <QTest>

using namespace Qt::StringLiterals;
using Utils = ApplicationDirectoryUtils;

class tst_ApplicationDirectoryUtils : public QObject
{
    Q_OBJECT
    std::unique_ptr<TestSandbox> m_sandbox;

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }

    // The immediate parent is never tested: an app directly inside another counts as
    // top-level. A kernel extension's folder name matches without regard to case,
    // without being a directory; a symbolic link to an application is none. Folder
    // membership is decided at a separator.
    void findsTheOutermostEnclosingBundle()
    {
        const QString outer = TestSandbox::makeApp(m_sandbox->trash() + u"/Outer.app"_s, u"com.example.Outer"_s);
        const QString nested = TestSandbox::makeApp(outer + u"/Contents/Inner.app"_s, u"com.example.Inner"_s);
        const QString beside = TestSandbox::makeApp(outer + u"/Inner.app"_s, u"com.example.Inner"_s);
        const QString pane = m_sandbox->trash() + u"/Tools.PrefPane"_s;
        const QString tool = TestSandbox::makeApp(pane + u"/Contents/Tool.app"_s, u"com.example.Tool"_s);
        QVERIFY(Utils::isApplicationAtPath(outer) && QFile::link(outer, m_sandbox->path(u"Link.app"_s)));
        QVERIFY(!Utils::isApplicationAtPath(m_sandbox->path(u"Link.app"_s)) && !Utils::isApplicationAtPath(QString()));
        QVERIFY(!Utils::isApplicationAtPath(m_sandbox->trash()));

        QCOMPARE(Utils::parentBundlePathForPath(nested), outer);
        QCOMPARE(ParentFolder::parentBundlePath(nested), outer);
        QVERIFY(Utils::parentBundlePathForPath(beside).isNull());
        QCOMPARE(Utils::parentBundlePathForPath(tool), pane);
        QVERIFY(Utils::parentAppPathForPath(tool).isNull());
        QCOMPARE(Utils::parentAppPathForPath(nested + u"/Contents/MacOS/x"_s), outer);
        QVERIFY(Utils::parentBundlePathForPath(u"/a"_s).isNull() && Utils::parentBundlePathForPath(QString()).isNull());
        QCOMPARE(Utils::parentBundlePathForPath(u"/x/Driver.KEXT/Contents/y"_s), u"/x/Driver.KEXT"_s);

        QVERIFY(ParentFolder::isInFolder(u"/a/b/c"_s, u"/a/b"_s));
        QVERIFY(!ParentFolder::isInFolder(u"/a/bc"_s, u"/a/b"_s) && !ParentFolder::isInFolder(u"/a/b"_s, u"/a/b"_s));
        QVERIFY(!ParentFolder::isInFolder(u"/a/b/c"_s, QString()));
    }

    // The final link is not followed, whether it leads to a folder or nowhere. A
    // metadata value that is not text reads as no path at all.
    void existenceDoesNotFollowTheFinalLink()
    {
        const QString folder = m_sandbox->path(u"links"_s);
        QVERIFY(QDir().mkpath(folder + u"/dir"_s));
        QVERIFY(QFile::link(folder + u"/gone"_s, folder + u"/dangling"_s) && QFile::link(folder + u"/dir"_s, folder + u"/to-dir"_s));
        bool isDir = true;
        QVERIFY(FileManagerUtils::fileExistsWithoutTraversingSymbolicLinkAtPath(folder + u"/dangling"_s, &isDir) && !isDir);
        QVERIFY(FileManagerUtils::fileExistsWithoutTraversingSymbolicLinkAtPath(folder + u"/to-dir"_s, &isDir) && isDir);
        QVERIFY(!FileManagerUtils::fileExistsWithoutTraversingSymbolicLinkAtPath(folder + u"/missing"_s, &isDir) && !isDir);
        QVERIFY(!FileManagerUtils::fileExistsWithoutTraversingSymbolicLinkAtPath(QString()));
        QVERIFY(StringExtra::asString(QVariant(5)).isNull() && StringExtra::asString(u"s"_s) == u"s"_s);
    }
};

QTEST_GUILESS_MAIN(tst_ApplicationDirectoryUtils)
#include "tst_ApplicationDirectoryUtils.moc"
