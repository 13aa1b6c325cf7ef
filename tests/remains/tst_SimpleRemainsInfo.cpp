#include "DiskUsage.h"
#include "support/AppImageFixture.h"
#include "support/ProgramRun.h"
#include "support/TestSandbox.h"
#include "platform/MainThread.h"
#include "platform/MetadataIndexQuery.h"
#include "remains/ObjectsProcessor.h"
#include "remains/SimpleRemainsInfo.h"
#include "remains/SimpleRemainsInfoListener.h"
#include "remains/SimpleSizeCalculation.h"
#include "remains/SpotlightEasySearch.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

namespace {

// Counts the changes; one reported off the main thread counts 100.
struct InfoListener : SimpleRemainsInfoListener
{
    int calls = 0;
    void onSimpleRemainsInfoChanged(SimpleRemainsInfo *) override { calls += MainThread::isCurrent() ? 1 : 100; }
};

QList<PathForRemove> recordsOf(const SimpleRemainsInfo &info)
{
    QList<PathForRemove> records;
    info.addRemoveObjectPathsToArray(records);
    return records;
}

} // namespace

// The remains finder: in the process, and through `tarnwick-helper --list-remains` run
// as a process on the sandbox's home, which shows what it offers and how large it is.
class tst_SimpleRemainsInfo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { MetadataIndexQuery::setIndexSource({}); }

    // Further bundles of the same identifier are added and sized, each size told on the
    // main thread; others, and bundles without an identifier, are ignored. Once its size
    // calculation is cancelled, an object hears of no size. (Remains: see the listing.)
    void onlyBundlesOfTheSameIdentifierAreAdded()
    {
        const auto trashed = [this](const QString &name, const QString &identifier) {
            return Bundle::bundleWithPath(TestSandbox::makeApp(m_sandbox.trash() + "/" + name + ".app", identifier, name));
        };
        const auto first = trashed("Twice", "com.example.Twice"), second = trashed("Twice 2", "com.example.Twice");
        TestSandbox::makeFile(second->bundlePath() + "/Contents/Resources/big", 50000);
        TestSandbox::makeFile(m_sandbox.path("Library/Preferences/Nameless"), 100);
        const auto listener = std::make_shared<InfoListener>(), cancelledListener = std::make_shared<InfoListener>();
        const auto info = SimpleRemainsInfo::initWithBundle(first, listener);
        for (const auto &bundle : {trashed("Other", "com.example.Other"), trashed("Case", "COM.EXAMPLE.TWICE"), std::optional<Bundle>(), second})
            info->addBundle(bundle);
        QVERIFY(!SimpleRemainsInfo::initWithBundle(std::nullopt, listener));
        const auto nameless = SimpleRemainsInfo::initWithBundle(trashed("Nameless", QString()), listener);
        QVERIFY(nameless && recordsOf(*nameless).isEmpty());
        SimpleRemainsInfo::initWithBundle(second, cancelledListener)->cancelSizeCalculation();
        QTRY_COMPARE_WITH_TIMEOUT(listener->calls, 2, 5000);
        // Once the workers are idle, a task posted now runs behind every size already reported.
        QTRY_VERIFY_WITH_TIMEOUT(!SimpleSizeCalculation::GetInstance().getProcessor()->isProcessorWorking(), 5000);
        bool reached = false;
        MainThread::async([&reached] { reached = true; });
        QTRY_VERIFY_WITH_TIMEOUT(reached, 5000);
        QVERIFY(listener->calls == 2 && cancelledListener->calls == 0);
        QCOMPARE(recordsOf(*info).size(), 2);
        QCOMPARE(recordsOf(*info).at(1).path(), second->bundlePath());
        QCOMPARE(info->getTotalSize(), expectedAllocatedSize(first->bundlePath()) + expectedAllocatedSize(second->bundlePath()));
    }

    // Installed copies are looked for inside the Applications folders (a folder test);
    // the index's results are judged by a plain prefix test, stale ones ignored.
    void decisionLooksForInstalledCopies()
    {
        const QString system = m_sandbox.systemApplications();
        const QString user = m_sandbox.path("Applications");
        TestSandbox::makeApp(system + "/Installed.app", "com.example.Installed");
        TestSandbox::makeApp(user + "/Tools/UserInstalled.app", "com.example.UserInstalled");
        TestSandbox::makeApp(system + " Old/Beside.app", "com.example.Beside");
        TestSandbox::makeApp(m_sandbox.path("Volumes/Other/Elsewhere.app"), "com.example.Elsewhere");
        QCOMPARE(decisions({"com.example.Installed", "com.example.UserInstalled", "com.example.Beside", "com.example.Elsewhere",
                            "com.example.Nowhere", "com.example.Installed.Plugin", QString()}),
                 QList<int>({0, 0, 1, 1, 1, 1, 0}));

        const QList<QPair<QString, QString>> index{
            {"com.example.Indexed", TestSandbox::makeApp(system + " Old/Indexed.app", "com.example.Indexed")},
            {"com.example.UserIndexed", TestSandbox::makeApp(user + "-Archive/UserIndexed.app", "com.example.UserIndexed")},
            {"com.example.Far", TestSandbox::makeApp(m_sandbox.path("Volumes/Other/Far.app"), "com.example.Far")},
            {"com.example.Stale", system + "/Stale.app"},
            {"com.example.Stale", user + "/Stale.app"},
        };
        MetadataIndexQuery::setIndexSource([index](const QStringList &, const MetadataIndexQuery::IsStopped &) {
            QList<MetadataIndexQuery::Item> items;
            for (const auto &[identifier, path] : index)
                items.append({{MetadataIndexQuery::kItemBundleIdentifierKey, identifier}, {MetadataIndexQuery::kItemPathKey, path}});
            return items;
        });
        QCOMPARE(decisions({"com.example.Indexed", "com.example.UserIndexed", "com.example.Far", "com.example.Stale"}),
                 QList<int>({0, 0, 1, 1}));
    }

    // "." and ".." are resolved by the text alone: no name leads out of the folder or to
    // the folder itself, whatever lies on the disk.
    void safePathsStayInsideTheirFolder()
    {
        const QString folder = m_sandbox.path("Library/Caches");
        QCOMPARE(SimpleRemainsInfo::createSafeToDeletePathInFolder(folder, "a/./b//c/"), folder + "/a/b/c");
        QCOMPARE(SimpleRemainsInfo::createSafeToDeletePathInFolder(folder, "/etc/passwd"), folder + "/etc/passwd");
        for (const QString &name : QStringList{"..", ".", "../Caches", "x/../..", "../../../../../../../../etc/passwd", "", QString()})
            QVERIFY2(SimpleRemainsInfo::createSafeToDeletePathInFolder(folder, name).isNull(), qPrintable(name));
        QVERIFY(SimpleRemainsInfo::createSafeToDeletePathInFolder(QString(), "x").isNull());
    }

    void listsTheRemainsInProbeOrder_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("executable");
        QTest::addColumn<QString>("linkTo");       // the remains are made as links to it, else (null) as files
        QTest::addColumn<QStringList>("decoys");   // made below ~/Library, never listed
        QTest::addColumn<QStringList>("expected"); // "<type> <path below the home>" after the bundle's own; made in reverse
        QTest::newRow("every probe, in probe order")
            << "Order" << "com.example.Order" << "OrderExe" << QString()
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
            << "Escape" << "../Preferences/com.example.Escape" << "sub/../InsideExe" << QString() << QStringList{"Preferences/com.example.Escape"}
            << QStringList{"3 Library/Application Support/InsideExe"};
        QTest::newRow("links to nothing are listed, measuring 0")
            << "Dangling" << "com.example.Dangling" << "DanglingExe" << m_sandbox.path("gone") << QStringList()
            << QStringList{"11 Library/Logs/DanglingExe.log", "3 Library/LaunchAgents/com.example.Dangling.plist"};
        // Never the size of what they point to: walking it took the whole disk.
        QTest::newRow("links to the disk are measured as links")
            << "Linked" << "com.example.Linked" << "LinkedExe" << "/usr" << QStringList()
            << QStringList{"8 Library/Caches/com.example.Linked", "3 Library/Application Support/LinkedExe"};
        QTest::newRow("no executable name: the folder's name")
            << "Fallback Tool" << "com.example.Fallback" << QString() << QString() << QStringList()
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
        QFETCH(QString, linkTo);
        QFETCH(QStringList, decoys);
        QFETCH(QStringList, expected);
        for (const QString &decoy : decoys)
            TestSandbox::makeFile(m_sandbox.path("Library/" + decoy), 100);
        for (auto line = expected.crbegin(); line != expected.crend(); ++line) {
            const QString path = m_sandbox.path(line->mid(line->indexOf(' ') + 1));
            if (!linkTo.isNull())
                QVERIFY(QDir().mkpath(QFileInfo(path).path()) && QFile::link(linkTo, path));
            else
                TestSandbox::makeFile(path, 3000 + path.size() * 100);
        }
        const QString app = TestSandbox::makeApp(m_sandbox.path("Downloads/" + name + ".app"), identifier, executable);
        TestSandbox::makeFile(app + "/Contents/MacOS/" + name, 70000);
        QJsonArray items;
        quint64 total = 0;
        for (const QString &line : QStringList{"0 " + app.mid(m_sandbox.home().size() + 1)} + expected) {
            const QString path = m_sandbox.path(line.mid(line.indexOf(' ') + 1));
            const quint64 size = expectedAllocatedSize(path);
            total += size;
            items.append(QJsonObject{
                {"bundleId", identifier.toLower()}, {"path", path}, {"size", QString::number(size)}, {"type", line.left(line.indexOf(' '))}});
        }
        const ProgramRun listed = ProgramRun::of(TW_HELPER_EXECUTABLE, {"--home", m_sandbox.home(), "--list-remains", name + ".app/"},
                                                  QProcessEnvironment::systemEnvironment(), m_sandbox.path("Downloads"));
        QCOMPARE(listed.exitCode, 0);
        QCOMPARE(listed.err, QByteArray());
        QCOMPARE(QJsonDocument::fromJson(listed.out).object(), QJsonObject({{"items", items}, {"totalSize", QString::number(total)}}));
    }

    // A trashed AppImage: the file, then its remains in the XDG folders, each measured.
    void listsATrashedAppImage()
    {
        const QString trashed = AppImageFixture::write(m_sandbox.trash() + "/Tool.AppImage",
            AppImageFixture::bytes({{"org.example.Tool.desktop", AppImageFixture::desktopEntry("Name=Tool\nExec=tool\n")}}));
        AppImageFixture::write(m_sandbox.trash() + "/../info/Tool.AppImage.trashinfo", "[Trash Info]\nPath=/opt/apps/Tool.AppImage\n");
        TestSandbox::makeFile(m_sandbox.path(".config/Tool/settings.ini"), 9000);
        TestSandbox::makeFile(m_sandbox.path(".cache/org.example.Tool"), 5000);
        QJsonArray items;
        quint64 total = 0;
        for (const QString &line : {"0 " + trashed, "10 " + m_sandbox.path(".config/Tool"), "8 " + m_sandbox.path(".cache/org.example.Tool")}) {
            const QString path = line.section(' ', 1);
            total += expectedAllocatedSize(path);
            items.append(QJsonObject{{"bundleId", "org.example.tool"}, {"path", path},
                                     {"size", QString::number(expectedAllocatedSize(path))}, {"type", line.section(' ', 0, 0)}});
        }
        const ProgramRun listed = ProgramRun::of(TW_HELPER_EXECUTABLE, {"--home", m_sandbox.home(), "--list-remains", trashed});
        QCOMPARE(listed.exitCode, 0);
        QCOMPARE(QJsonDocument::fromJson(listed.out).object(), QJsonObject({{"items", items}, {"totalSize", QString::number(total)}}));
    }

    void refusesWhatIsNotAnApplication()
    {
        const QString noIdentifier = TestSandbox::makeApp(m_sandbox.path("Downloads/Anonymous.app"), QString(), "Anon");
        const QString noEntry = AppImageFixture::write(m_sandbox.path("Downloads/Entryless.AppImage"), AppImageFixture::elfHeader());
        for (const QString &path : {noIdentifier, noEntry, m_sandbox.path("Library"), m_sandbox.path("missing.app"),
                                    TestSandbox::makeFile(m_sandbox.path("Library/Preferences/com.example.Listed.plist"))}) {
            const ProgramRun refused = ProgramRun::of(TW_HELPER_EXECUTABLE, {"--home", m_sandbox.home(), "--list-remains", path});
            QVERIFY2(refused.exitCode == 1 && refused.out.isEmpty() && refused.err.count('\n') == 1, qPrintable(path));
        }
    }

private:
    // For each identifier, how often the ok block ran once the decision (and its search,
    // if any) had ended; a call off the main thread counts 100.
    QList<int> decisions(const QStringList &identifiers)
    {
        QList<int> results;
        for (const QString &identifier : identifiers) {
            int calls = 0;
            SimpleRemainsInfo::calculateIsCanShowNotificationForBundleWithID(identifier,
                                                                             [&calls] { calls += MainThread::isCurrent() ? 1 : 100; });
            [&] { QTRY_COMPARE_WITH_TIMEOUT(SpotlightEasySearch::runningSearchCount(), 0, 5000); }();
            results << calls;
        }
        return results;
    }

    TestSandbox m_sandbox; // made with the test object, before any path is computed
};

QTEST_GUILESS_MAIN(tst_SimpleRemainsInfo)
#include "tst_SimpleRemainsInfo.moc"
