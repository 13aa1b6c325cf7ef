#include "TestSandbox.h"
#include "core/FileManagerUtils.h"
#include "core/MacOSVersion.h"
#include "core/PathsGenerator.h"
#include "platform/XdgDataHome.h"

#include <QDir>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_PathsGenerator : public QObject
{
    Q_OBJECT
    std::unique_ptr<TestSandbox> m_sandbox;

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }

    // The Trash is the freedesktop one, in the data home, and looking paths up creates
    // nothing: the home stays empty. Where no system version can be read (every Linux
    // system), the version flags the helper consults answer yes.
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
        QVERIFY(MacOSVersion::GetInstance().is_10_10_orHigher() && MacOSVersion::GetInstance().is_10_11_orHigher());
    }

    // $XDG_DATA_HOME counts when it is absolute and the home is the user's own.
    void choosesTheDataHome()
    {
        const struct {
            const char *environment;
            bool homeGiven;
            const char *dataHome;
        } cases[] = {{"/data/u/", false, "/data/u"}, {"/data/u", true, "/h/.local/share"},
                     {"relative", false, "/h/.local/share"}, {"", false, "/h/.local/share"}};
        for (const auto &c : cases)
            QCOMPARE(XdgDataHome::resolve(u"/h"_s, QString::fromLatin1(c.environment), c.homeGiven), QString::fromLatin1(c.dataHome));
    }

    // Joined with one separator; a tilde is expanded only as "~/".
    void joinsAndExpandsPaths()
    {
        QCOMPARE(PathsGenerator::joinPath(u"/Users/a"_s, u"/Applications"_s), u"/Users/a/Applications"_s);
        QCOMPARE(PathsGenerator::joinPath(u"/Users/a/"_s, u"Library"_s), u"/Users/a/Library"_s);
        QCOMPARE(PathsGenerator::joinPath(u"/"_s, u"x"_s), u"/x"_s);
        QVERIFY(PathsGenerator::joinPath(u"/a"_s, QString()) == u"/a"_s && PathsGenerator::joinPath(QString(), u"b"_s) == u"b"_s);
        const PathsGenerator &paths = PathsGenerator::GetInstance();
        QCOMPARE(paths.expandTildeInPath(u"~/Library/Caches"_s), m_sandbox->home() + u"/Library/Caches"_s);
        for (const QString &kept : {u"~"_s, u"~user/x"_s, u"/abs/~/x"_s})
            QCOMPARE(paths.expandTildeInPath(kept), kept);
    }
};

QTEST_GUILESS_MAIN(tst_PathsGenerator)
#include "tst_PathsGenerator.moc"
