#include "TestSandbox.h"
#include "core/ApplicationDirectoryUtils.h"
#include "core/FileManagerUtils.h"
#include "core/MacOSVersion.h"
#include "core/ParentFolder.h"
#include "core/PathsGenerator.h"
#include "core/StringExtra.h"
#include "platform/XdgDirectories.h"

#include <QDir>
#include <QTest>

using namespace Qt::StringLiterals;
using Utils = ApplicationDirectoryUtils;

// The user's paths and the path and bundle utilities.
class tst_PathUtilities : public QObject
{
    Q_OBJECT
    std::unique_ptr<TestSandbox> m_sandbox;

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }

    // The Trash is the freedesktop one, in the data home, and looking paths up creates
    // nothing. A tilde is expanded only as "~/". With no system version to read (every
    // Linux system), the version flags the helper consults answer yes.
    void derivesEveryFolderFromTheHome()
    {
        const PathsGenerator &paths = PathsGenerator::GetInstance();
        const QString home = m_sandbox->home();
        QCOMPARE(paths.getHomeDirectory(), home);
        QCOMPARE(paths.buildUserApplicationsDirectory(), home + u"/Applications"_s);
        QCOMPARE(paths.buildTrashDirectory(), home + u"/.local/share/Trash/files"_s);
        QCOMPARE(FileManagerUtils::getTrashPath(), home + u"/.local/share/Trash/files/"_s);
        QCOMPARE(paths.buildApplicationFolderPathInApplicationSupport(), home + u"/.local/share/com.corbelle.Tarnwick-HelperS"_s);
        QVERIFY(QDir(home).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
        QCOMPARE(paths.expandTildeInPath(u"~/Library/Caches"_s), home + u"/Library/Caches"_s);
        for (const QString &kept : {u"~"_s, u"~user/x"_s, u"/abs/~/x"_s})
            QCOMPARE(paths.expandTildeInPath(kept), kept);
        QVERIFY(MacOSVersion::GetInstance().is_10_10_orHigher() && MacOSVersion::GetInstance().is_10_11_orHigher());
    }

    // Joined with one separator. $XDG_DATA_HOME counts when it is absolute and the
    // home is the user's own.
    void joinsPathsAndChoosesTheDataHome()
    {
        const char *const joins[][3] = {{"/Users/a", "/Applications", "/Users/a/Applications"},
                                        {"/Users/a/", "Library", "/Users/a/Library"}, {"/", "x", "/x"}, {"/a", "", "/a"}, {"", "b", "b"}};
        for (const auto &[base, component, joined] : joins)
            QCOMPARE(PathsGenerator::joinPath(QString::fromLatin1(base), QString::fromLatin1(component)), QString::fromLatin1(joined));
        const struct {
            const char *environment;
            bool homeGiven;
            const char *dataHome;
        } cases[] = {{"/data/u/", false, "/data/u"}, {"/data/u", true, "/h/.local/share"},
                     {"relative", false, "/h/.local/share"}, {"", false, "/h/.local/share"}};
        for (const auto &c : cases)
            QCOMPARE(XdgDirectories::resolve(u"/h"_s, u".local/share"_s, QString::fromLatin1(c.environment), c.homeGiven), QString::fromLatin1(c.dataHome));
    }

    // The immediate parent is never tested (an app directly inside another counts as
    // top-level); a kernel extension matches by name, in any case; a link to an app is
    // none. Folder membership is decided at a separator.
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

QTEST_GUILESS_MAIN(tst_PathUtilities)
#include "tst_PathUtilities.moc"
