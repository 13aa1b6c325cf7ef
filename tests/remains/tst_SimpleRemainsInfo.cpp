#include "DiskUsage.h"
#include "support/TestSandbox.h"
#include "platform/MainThread.h"
#include "platform/MetadataIndexQuery.h"
#include "remains/ObjectsProcessor.h"
#include "remains/SimpleRemainsInfo.h"
#include "remains/SimpleRemainsInfoListener.h"
#include "remains/SimpleSizeCalculation.h"
#include "remains/SpotlightEasySearch.h"

#include <QDir>
#include <QFile>
#include <QTest>

namespace {

class InfoListener : public SimpleRemainsInfoListener
{
public:
    int calls = 0;
    bool allOnMainThread = true;

    void onSimpleRemainsInfoChanged(SimpleRemainsInfo *) override
    {
        ++calls;
        allOnMainThread = allOnMainThread && MainThread::isCurrent();
    }
};

QList<PathForRemove> recordsOf(const SimpleRemainsInfo &info)
{
    QList<PathForRemove> records;
    info.addRemoveObjectPathsToArray(records);
    return records;
}

QStringList describe(const QList<PathForRemove> &records, const QString &home)
{
    QStringList lines;
    for (const PathForRemove &record : records)
        lines << QStringLiteral("%1 %2").arg(record.type()).arg(QString(record.path()).replace(home, QStringLiteral("~")));
    return lines;
}

// Waits until every size queued so far has been reported on the main thread.
void waitForSizeWork()
{
    QTRY_VERIFY_WITH_TIMEOUT(!SimpleSizeCalculation::GetInstance().getProcessor()->isProcessorWorking(), 5000);
    bool reached = false;
    MainThread::async([&reached] { reached = true; }); // behind every callback already posted
    QTRY_VERIFY_WITH_TIMEOUT(reached, 5000);
}

} // namespace

class tst_SimpleRemainsInfo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }
    void cleanup() { MetadataIndexQuery::setIndexSource({}); }

    void remainsAreFoundInProbeOrderAndSized()
    {
        const QString lib = QStringLiteral("Library/");
        // Created out of order: the records follow the probes, not the disk.
        const QStringList made{
            "Application Support/CrashReporter/OrderExe_1234.plist",
            "LaunchAgents/com.example.Order.b.plist",
            "LaunchAgents/com.example.Order.a.plist",
            "Application Support/OrderExe/data.db",
            "Application Support/Growl/Tickets/OrderExe.growlTicket",
            "Application Support/Caches/com.apple.helpd/SDMHelpData/Other/English/HelpSDMIndexFile/com.example.Order.help",
            "Application Support/Caches/com.apple.helpd/Generated/com.example.Order.help/index",
            "Containers/com.example.Order/Data/file",
            "Cookies/com.example.Order.cookies",
            "Logs/OrderExe.log",
            "Preferences/OrderExe/settings",
            "Preferences/com.example.Order.plist",
            "Saved Application State/com.example.Order.savedState/window.data",
            "Caches/com.example.Order/cache.db",
        };
        for (const QString &relative : made)
            TestSandbox::makeFile(m_sandbox->path(lib + relative), 3000 + relative.size() * 100);
        // Near misses: another identifier, another letter case, another suffix.
        for (const char *decoy : {"Caches/com.example.Order2", "LaunchAgents/COM.EXAMPLE.ORDER.plist",
                                  "LaunchAgents/com.example.Order.txt", "Application Support/CrashReporter/orderexe.plist",
                                  "LaunchAgents/com.example.Other.plist"})
            TestSandbox::makeFile(m_sandbox->path(lib + QString::fromUtf8(decoy)), 10);
        const QString app = TestSandbox::makeApp(m_sandbox->trash() + "/Order.app", "com.example.Order", "OrderExe");
        TestSandbox::makeFile(app + "/Contents/MacOS/OrderExe", 70000);

        auto listener = std::make_shared<InfoListener>();
        const auto info = SimpleRemainsInfo::initWithBundle(Bundle::bundleWithPath(app), listener);
        QVERIFY(info);
        const QList<PathForRemove> records = recordsOf(*info);
        const QStringList expected{
            "0 " + QString(app).replace(m_sandbox->home(), "~"),
            "8 ~/Library/Caches/com.example.Order",
            "8 ~/Library/Saved Application State/com.example.Order.savedState",
            "10 ~/Library/Preferences/com.example.Order.plist",
            "10 ~/Library/Preferences/OrderExe",
            "11 ~/Library/Logs/OrderExe.log",
            "12 ~/Library/Cookies/com.example.Order.cookies",
            "9 ~/Library/Containers/com.example.Order",
            "3 ~/Library/Application Support/Caches/com.apple.helpd/Generated/com.example.Order.help",
            "3 ~/Library/Application Support/Caches/com.apple.helpd/SDMHelpData/Other/English/HelpSDMIndexFile/"
            "com.example.Order.help",
            "3 ~/Library/Application Support/Growl/Tickets/OrderExe.growlTicket",
            "3 ~/Library/Application Support/OrderExe",
            "3 ~/Library/LaunchAgents/com.example.Order.a.plist",
            "3 ~/Library/LaunchAgents/com.example.Order.b.plist",
            "13 ~/Library/Application Support/CrashReporter/OrderExe_1234.plist",
        };
        QCOMPARE(describe(records, m_sandbox->home()), expected);
        for (const PathForRemove &record : records)
            QCOMPARE(record.bundleId(), QStringLiteral("com.example.order"));

        // One call per size; the total is the sum of every record's allocated size.
        QTRY_COMPARE_WITH_TIMEOUT(listener->calls, int(records.size()), 5000);
        QVERIFY(listener->allOnMainThread);
        quint64 sum = 0;
        for (const PathForRemove &record : recordsOf(*info)) {
            QVERIFY2(record.isSizeCalculated(), qPrintable(record.path()));
            QCOMPARE(record.getSize(), expectedAllocatedSize(record.path()));
            sum += record.getSize();
        }
        QCOMPARE(info->getTotalSize(), sum);
        QVERIFY(sum > 70000);
        waitForSizeWork();
        QCOMPARE(listener->calls, int(records.size()));
    }

    void namesCannotLeadOutOfTheirFolder()
    {
        // "../" in the identifier would reach Library/Preferences from the cache and
        // container probes; a ".." that stays inside its folder is harmless.
        TestSandbox::makeFile(m_sandbox->path("Library/Preferences/com.example.Escape"), 100);
        TestSandbox::makeFile(m_sandbox->path("Library/Application Support/InsideExe"), 100);
        const QString app = TestSandbox::makeApp(m_sandbox->trash() + "/Escape.app", "../Preferences/com.example.Escape",
                                                 "sub/../InsideExe");
        const auto info = SimpleRemainsInfo::initWithBundle(Bundle::bundleWithPath(app), {});
        const QStringList expected{"0 " + QString(app).replace(m_sandbox->home(), "~"),
                                   "3 ~/Library/Application Support/InsideExe"};
        QCOMPARE(describe(recordsOf(*info), m_sandbox->home()), expected);

        const QString folder = m_sandbox->path("Library/Caches");
        QCOMPARE(SimpleRemainsInfo::createSafeToDeletePathInFolder(folder, "a/./b//c/"), folder + "/a/b/c");
        QCOMPARE(SimpleRemainsInfo::createSafeToDeletePathInFolder(folder, "/etc/passwd"), folder + "/etc/passwd");
        for (const char *name : {"..", ".", "../Caches", "x/../..", "../../../../../../../../etc/passwd", ""})
            QVERIFY2(SimpleRemainsInfo::createSafeToDeletePathInFolder(folder, QString::fromUtf8(name)).isNull(), name);
        QVERIFY(SimpleRemainsInfo::createSafeToDeletePathInFolder(QString(), "x").isNull());
        QVERIFY(SimpleRemainsInfo::createSafeToDeletePathInFolder(folder, QString()).isNull());
    }

    void danglingLinksAreListed()
    {
        QDir().mkpath(m_sandbox->path("Library/Logs"));
        QDir().mkpath(m_sandbox->path("Library/LaunchAgents"));
        QVERIFY(QFile::link(m_sandbox->path("gone"), m_sandbox->path("Library/Logs/DanglingExe.log")));
        QVERIFY(QFile::link(m_sandbox->path("gone"), m_sandbox->path("Library/LaunchAgents/com.example.Dangling.plist")));
        const QString app = TestSandbox::makeApp(m_sandbox->trash() + "/Dangling.app", "com.example.Dangling", "DanglingExe");
        auto listener = std::make_shared<InfoListener>();
        const auto info = SimpleRemainsInfo::initWithBundle(Bundle::bundleWithPath(app), listener);
        const QStringList expected{"0 " + QString(app).replace(m_sandbox->home(), "~"),
                                   "11 ~/Library/Logs/DanglingExe.log",
                                   "3 ~/Library/LaunchAgents/com.example.Dangling.plist"};
        QCOMPARE(describe(recordsOf(*info), m_sandbox->home()), expected);
        // A link to nothing measures 0 and is still reported.
        QTRY_COMPARE_WITH_TIMEOUT(listener->calls, 3, 5000);
        QCOMPARE(info->getTotalSize(), expectedAllocatedSize(app));
    }

    void missingExecutableNameFallsBackToTheFolderName()
    {
        for (const char *relative :
             {"Preferences/Fallback Tool", "Logs/Fallback Tool.log", "Application Support/Growl/Tickets/Fallback Tool.growlTicket",
              "Application Support/Fallback Tool", "Application Support/CrashReporter/Fallback Tool_Mac.plist"})
            TestSandbox::makeFile(m_sandbox->path("Library/" + QString::fromUtf8(relative)), 100);
        const QString app = TestSandbox::makeApp(m_sandbox->trash() + "/Fallback Tool.app", "com.example.Fallback");
        const auto info = SimpleRemainsInfo::initWithBundle(Bundle::bundleWithPath(app), {});
        QCOMPARE(info->getBundleName(), QStringLiteral("Fallback Tool"));
        const QStringList expected{"0 " + QString(app).replace(m_sandbox->home(), "~"),
                                   "10 ~/Library/Preferences/Fallback Tool",
                                   "11 ~/Library/Logs/Fallback Tool.log",
                                   "3 ~/Library/Application Support/Growl/Tickets/Fallback Tool.growlTicket",
                                   "3 ~/Library/Application Support/Fallback Tool",
                                   "13 ~/Library/Application Support/CrashReporter/Fallback Tool_Mac.plist"};
        QCOMPARE(describe(recordsOf(*info), m_sandbox->home()), expected);
    }

    void furtherBundlesWithTheSameIdentifierAreAdded()
    {
        const QString first = TestSandbox::makeApp(m_sandbox->trash() + "/Twice.app", "com.example.Twice", "Twice");
        const QString second = TestSandbox::makeApp(m_sandbox->trash() + "/Twice 2.app", "com.example.Twice", "Twice");
        const QString other = TestSandbox::makeApp(m_sandbox->trash() + "/Other.app", "com.example.Other", "Twice");
        const QString differentCase = TestSandbox::makeApp(m_sandbox->trash() + "/Case.app", "COM.EXAMPLE.TWICE", "Twice");
        TestSandbox::makeFile(second + "/Contents/Resources/big", 50000);
        auto listener = std::make_shared<InfoListener>();
        const auto info = SimpleRemainsInfo::initWithBundle(Bundle::bundleWithPath(first), listener);
        info->addBundle(Bundle::bundleWithPath(other));
        info->addBundle(Bundle::bundleWithPath(differentCase));
        info->addBundle(std::nullopt);
        info->addBundle(Bundle::bundleWithPath(second));

        QTRY_COMPARE_WITH_TIMEOUT(listener->calls, 2, 5000);
        waitForSizeWork();
        QCOMPARE(listener->calls, 2); // the other bundles were never measured
        const QStringList expected{"0 " + QString(first).replace(m_sandbox->home(), "~"),
                                   "0 " + QString(second).replace(m_sandbox->home(), "~")};
        QCOMPARE(describe(recordsOf(*info), m_sandbox->home()), expected);
        QCOMPARE(info->getTotalSize(), expectedAllocatedSize(first) + expectedAllocatedSize(second));
    }

    void bundlesWithoutIdentifierYieldNothing()
    {
        QVERIFY(!SimpleRemainsInfo::initWithBundle(std::nullopt, {}));
        TestSandbox::makeFile(m_sandbox->path("Library/Preferences/Nameless"), 100);
        const QString app = TestSandbox::makeApp(m_sandbox->trash() + "/Nameless.app", QString(), "Nameless");
        auto listener = std::make_shared<InfoListener>();
        const auto info = SimpleRemainsInfo::initWithBundle(Bundle::bundleWithPath(app), listener);
        QVERIFY(info);
        QVERIFY(recordsOf(*info).isEmpty());
        QCOMPARE(info->getTotalSize(), 0u);
        QCOMPARE(listener->calls, 0);
    }

    void decisionLooksForInstalledCopies()
    {
        const QString systemApps = m_sandbox->systemApplications();
        const QString userApps = m_sandbox->path("Applications");
        TestSandbox::makeApp(systemApps + "/Installed.app", "com.example.Installed");
        TestSandbox::makeApp(userApps + "/Tools/UserInstalled.app", "com.example.UserInstalled");
        QCOMPARE(decide("com.example.Installed"), 0);
        QCOMPARE(decide("com.example.UserInstalled"), 0);

        // Copies beside the Applications folders or on another volume do not count.
        TestSandbox::makeApp(systemApps + " Old/Beside.app", "com.example.Beside");
        TestSandbox::makeApp(m_sandbox->path("Volumes/Other/Elsewhere.app"), "com.example.Elsewhere");
        QCOMPARE(decide("com.example.Beside"), 1);
        QCOMPARE(decide("com.example.Elsewhere"), 1);
        QCOMPARE(decide("com.example.Nowhere"), 1);
        QCOMPARE(decide("com.example.Installed.Plugin"), 1);
    }

    void decisionJudgesIndexResultsByPrefix()
    {
        const QString systemApps = m_sandbox->systemApplications();
        const QString userApps = m_sandbox->path("Applications");
        const QString beside = TestSandbox::makeApp(systemApps + " Old/Indexed.app", "com.example.Indexed");
        const QString userBeside = TestSandbox::makeApp(userApps + "-Archive/UserIndexed.app", "com.example.UserIndexed");
        const QString elsewhere = TestSandbox::makeApp(m_sandbox->path("Volumes/Other/Far.app"), "com.example.Far");
        const QList<QPair<QString, QString>> index{
            {"com.example.Indexed", beside},
            {"com.example.UserIndexed", userBeside},
            {"com.example.Far", elsewhere},
            {"com.example.Stale", systemApps + "/Stale.app"}, // deleted since it was indexed
            {"com.example.Stale", userApps + "/Stale.app"},
        };
        MetadataIndexQuery::setIndexSource([index](const QStringList &, const MetadataIndexQuery::IsStopped &) {
            QList<MetadataIndexQuery::Item> items;
            for (const auto &[identifier, path] : index)
                items.append({{MetadataIndexQuery::kItemBundleIdentifierKey, identifier},
                              {MetadataIndexQuery::kItemPathKey, path}});
            return items;
        });
        QCOMPARE(decide("com.example.Indexed"), 0); // a plain prefix of "<Applications>"
        QCOMPARE(decide("com.example.UserIndexed"), 0);
        QCOMPARE(decide("com.example.Far"), 1);
        QCOMPARE(decide("com.example.Stale"), 1);
    }

    void decisionWithoutIdentifierDoesNothing()
    {
        int calls = 0;
        SimpleRemainsInfo::calculateIsCanShowNotificationForBundleWithID(QString(), [&calls] { ++calls; });
        QCOMPARE(SpotlightEasySearch::runningSearchCount(), 0);
        QCOMPARE(calls, 0);
    }

private:
    // How often the ok block ran once the decision (and its search, if any) has ended.
    int decide(const QString &bundleId)
    {
        int calls = 0;
        bool onMainThread = true;
        SimpleRemainsInfo::calculateIsCanShowNotificationForBundleWithID(bundleId, [&] {
            ++calls;
            onMainThread = onMainThread && MainThread::isCurrent();
        });
        [&] { QTRY_COMPARE_WITH_TIMEOUT(SpotlightEasySearch::runningSearchCount(), 0, 5000); }();
        if (!onMainThread)
            return -1;
        return calls;
    }

    std::unique_ptr<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_SimpleRemainsInfo)
#include "tst_SimpleRemainsInfo.moc"
