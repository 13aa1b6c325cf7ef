#include "DiskUsage.h"
#include "support/AppImageFixture.h"
#include "support/ProgramRun.h"
#include "support/TestSandbox.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

namespace {

using Run = ProgramRun;

// The built helper run with the arguments, from the folder.
Run runHelper(const QStringList &arguments, const QString &folder = QString())
{
    return ProgramRun::of(TW_HELPER_EXECUTABLE, arguments, QProcessEnvironment::systemEnvironment(), folder);
}

} // namespace

// What the remains finder offers and how large it is, seen through
// `tarnwick-helper --list-remains`, run as a process on the sandbox's home.
class tst_RemainsListing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }

    void listsTheRemainsInProbeOrder_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("executable");
        QTest::addColumn<bool>("asLinks");         // the remains are made as links to nothing, else as files
        QTest::addColumn<QStringList>("decoys");   // made below ~/Library, never listed
        QTest::addColumn<QStringList>("expected"); // "<type> <path below the home>" after the bundle's own; made in reverse
        QTest::newRow("every probe, in probe order")
            << "Order" << "com.example.Order" << "OrderExe" << false
            << QStringList{"Caches/com.example.Order2", "LaunchAgents/COM.EXAMPLE.ORDER.plist", "LaunchAgents/com.example.Order.txt",
                           "Application Support/CrashReporter/orderexe.plist", "LaunchAgents/com.example.Other.plist"}
            << QStringList{"8 Library/Caches/com.example.Order", "8 Library/Saved Application State/com.example.Order.savedState",
                           "10 Library/Preferences/com.example.Order.plist", "10 Library/Preferences/OrderExe",
                           "11 Library/Logs/OrderExe.log", "12 Library/Cookies/com.example.Order.cookies",
                           "9 Library/Containers/com.example.Order",
                           "3 Library/Application Support/Caches/com.apple.helpd/Generated/com.example.Order.help",
                           "3 Library/Application Support/Caches/com.apple.helpd/SDMHelpData/Other/English/HelpSDMIndexFile/com.example.Order.help",
                           "3 Library/Application Support/Growl/Tickets/OrderExe.growlTicket", "3 Library/Application Support/OrderExe",
                           "3 Library/LaunchAgents/com.example.Order.a.plist", "3 Library/LaunchAgents/com.example.Order.b.plist",
                           "13 Library/Application Support/CrashReporter/OrderExe_1234.plist"};
        // "../" in the identifier would reach Library/Preferences from the cache and
        // container probes; a ".." that stays inside its folder is harmless.
        QTest::newRow("names cannot lead out of their folder")
            << "Escape" << "../Preferences/com.example.Escape" << "sub/../InsideExe" << false << QStringList{"Preferences/com.example.Escape"}
            << QStringList{"3 Library/Application Support/InsideExe"};
        QTest::newRow("links to nothing are listed, measuring 0")
            << "Dangling" << "com.example.Dangling" << "DanglingExe" << true << QStringList()
            << QStringList{"11 Library/Logs/DanglingExe.log", "3 Library/LaunchAgents/com.example.Dangling.plist"};
        QTest::newRow("no executable name: the folder's name")
            << "Fallback Tool" << "com.example.Fallback" << QString() << false << QStringList()
            << QStringList{"10 Library/Preferences/Fallback Tool", "11 Library/Logs/Fallback Tool.log",
                           "3 Library/Application Support/Growl/Tickets/Fallback Tool.growlTicket",
                           "3 Library/Application Support/Fallback Tool",
                           "13 Library/Application Support/CrashReporter/Fallback Tool_Mac.plist"};
    }

    // Run from the bundle's folder with a relative path and a trailing "/": the bundle,
    // then its remains, every value a string, sizes as allocated on disk and summed.
    void listsTheRemainsInProbeOrder()
    {
        QFETCH(QString, name);
        QFETCH(QString, identifier);
        QFETCH(QString, executable);
        QFETCH(bool, asLinks);
        QFETCH(QStringList, decoys);
        QFETCH(QStringList, expected);
        for (const QString &decoy : decoys)
            TestSandbox::makeFile(m_sandbox->path("Library/" + decoy), 100);
        for (auto line = expected.crbegin(); line != expected.crend(); ++line) {
            const QString path = m_sandbox->path(line->mid(line->indexOf(' ') + 1));
            if (asLinks)
                QVERIFY(QDir().mkpath(QFileInfo(path).path()) && QFile::link(m_sandbox->path("gone"), path));
            else
                TestSandbox::makeFile(path, 3000 + path.size() * 100);
        }
        const QString app = TestSandbox::makeApp(m_sandbox->path("Downloads/" + name + ".app"), identifier, executable);
        TestSandbox::makeFile(app + "/Contents/MacOS/" + name, 70000);
        QJsonArray items;
        quint64 total = 0;
        for (const QString &line : QStringList{"0 " + app.mid(m_sandbox->home().size() + 1)} + expected) {
            const QString path = m_sandbox->path(line.mid(line.indexOf(' ') + 1));
            const quint64 size = expectedAllocatedSize(path);
            total += size;
            items.append(QJsonObject{
                {"bundleId", identifier.toLower()}, {"path", path}, {"size", QString::number(size)}, {"type", line.left(line.indexOf(' '))}});
        }
        const Run listed = runHelper({"--home", m_sandbox->home(), "--list-remains", name + ".app/"}, m_sandbox->path("Downloads"));
        QCOMPARE(listed.exitCode, 0);
        QCOMPARE(listed.err, QByteArray());
        QCOMPARE(QJsonDocument::fromJson(listed.out).object(), QJsonObject({{"items", items}, {"totalSize", QString::number(total)}}));
    }

    // A trashed AppImage: the file, then its remains beside its original path and in the
    // XDG folders, each measured.
    void listsATrashedAppImage()
    {
        const QString trashed = AppImageFixture::write(m_sandbox->trash() + "/Tool.AppImage",
            AppImageFixture::bytes({{"org.example.Tool.desktop", AppImageFixture::desktopEntry("Name=Tool\nExec=tool\n")}}));
        AppImageFixture::write(m_sandbox->trash() + "/../info/Tool.AppImage.trashinfo", "[Trash Info]\nPath=/opt/apps/Tool.AppImage\n");
        TestSandbox::makeFile(m_sandbox->path(".config/Tool/settings.ini"), 9000);
        TestSandbox::makeFile(m_sandbox->path(".cache/org.example.Tool"), 5000);
        QJsonArray items;
        quint64 total = 0;
        for (const QString &line : {"0 " + trashed, "10 " + m_sandbox->path(".config/Tool"), "8 " + m_sandbox->path(".cache/org.example.Tool")}) {
            const QString path = line.section(' ', 1);
            total += expectedAllocatedSize(path);
            items.append(QJsonObject{{"bundleId", "org.example.tool"}, {"path", path},
                                     {"size", QString::number(expectedAllocatedSize(path))}, {"type", line.section(' ', 0, 0)}});
        }
        const Run listed = runHelper({"--home", m_sandbox->home(), "--list-remains", trashed});
        QCOMPARE(listed.exitCode, 0);
        QCOMPARE(QJsonDocument::fromJson(listed.out).object(), QJsonObject({{"items", items}, {"totalSize", QString::number(total)}}));
    }

    void refusesWhatIsNotAnApplication()
    {
        const QString noIdentifier = TestSandbox::makeApp(m_sandbox->path("Downloads/Anonymous.app"), QString(), "Anon");
        const QString noEntry = AppImageFixture::write(m_sandbox->path("Downloads/Entryless.AppImage"), AppImageFixture::elfHeader());
        for (const QString &path : {noIdentifier, noEntry, m_sandbox->path("Library"), m_sandbox->path("missing.app"),
                                    TestSandbox::makeFile(m_sandbox->path("Library/Preferences/com.example.Listed.plist"))}) {
            const Run refused = runHelper({"--home", m_sandbox->home(), "--list-remains", path});
            QCOMPARE(refused.exitCode, 1);
            QVERIFY(refused.out.isEmpty() && refused.err.count('\n') == 1);
            QVERIFY2(refused.err.contains("not an application bundle with a bundle identifier"), refused.err.constData());
        }
    }

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_RemainsListing)
#include "tst_RemainsListing.moc"
