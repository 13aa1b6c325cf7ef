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

struct InfoListener : SimpleRemainsInfoListener
{
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

    void findsAndSizesTheRemains_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("executable");
        QTest::addColumn<bool>("asLinks");         // the remains are made as links to nothing, else as files
        QTest::addColumn<QStringList>("decoys");   // made below ~/Library, never listed
        QTest::addColumn<QStringList>("expected"); // after the bundle's own record; made in reverse order
        QTest::newRow("every probe, in probe order")
            << "Order" << "com.example.Order" << "OrderExe" << false
            << QStringList{"Caches/com.example.Order2", "LaunchAgents/COM.EXAMPLE.ORDER.plist", "LaunchAgents/com.example.Order.txt",
                           "Application Support/CrashReporter/orderexe.plist", "LaunchAgents/com.example.Other.plist"}
            << QStringList{"8 ~/Library/Caches/com.example.Order",
                           "8 ~/Library/Saved Application State/com.example.Order.savedState",
                           "10 ~/Library/Preferences/com.example.Order.plist",
                           "10 ~/Library/Preferences/OrderExe",
                           "11 ~/Library/Logs/OrderExe.log",
                           "12 ~/Library/Cookies/com.example.Order.cookies",
                           "9 ~/Library/Containers/com.example.Order",
                           "3 ~/Library/Application Support/Caches/com.apple.helpd/Generated/com.example.Order.help",
                           "3 ~/Library/Application Support/Caches/com.apple.helpd/SDMHelpData/Other/English/HelpSDMIndexFile/com.example.Order.help",
                           "3 ~/Library/Application Support/Growl/Tickets/OrderExe.growlTicket",
                           "3 ~/Library/Application Support/OrderExe",
                           "3 ~/Library/LaunchAgents/com.example.Order.a.plist",
                           "3 ~/Library/LaunchAgents/com.example.Order.b.plist",
                           "13 ~/Library/Application Support/CrashReporter/OrderExe_1234.plist"};
        // "../" in the identifier would reach Library/Preferences from the cache and
        // container probes; a ".." that stays inside its folder is harmless.
        QTest::newRow("names cannot lead out of their folder")
            << "Escape" << "../Preferences/com.example.Escape" << "sub/../InsideExe" << false << QStringList{"Preferences/com.example.Escape"}
            << QStringList{"3 ~/Library/Application Support/InsideExe"};
        QTest::newRow("links to nothing are listed")
            << "Dangling" << "com.example.Dangling" << "DanglingExe" << true << QStringList()
            << QStringList{"11 ~/Library/Logs/DanglingExe.log", "3 ~/Library/LaunchAgents/com.example.Dangling.plist"};
        QTest::newRow("no executable name: the folder's name")
            << "Fallback Tool" << "com.example.Fallback" << QString() << false << QStringList()
            << QStringList{"10 ~/Library/Preferences/Fallback Tool", "11 ~/Library/Logs/Fallback Tool.log",
                           "3 ~/Library/Application Support/Growl/Tickets/Fallback Tool.growlTicket",
                           "3 ~/Library/Application Support/Fallback Tool",
                           "13 ~/Library/Application Support/CrashReporter/Fallback Tool_Mac.plist"};
    }

    // Each record is sized once, on the main thread, to its allocated space; the total
    // is their sum.
    void findsAndSizesTheRemains()
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
            const QString path = m_sandbox->home() + line->mid(line->indexOf(" ~") + 2);
            if (asLinks)
                QVERIFY(QDir().mkpath(QFileInfo(path).path()) && QFile::link(m_sandbox->path("gone"), path));
            else
                TestSandbox::makeFile(path, 3000 + path.size() * 100);
        }
        const QString app = TestSandbox::makeApp(m_sandbox->trash() + "/" + name + ".app", identifier, executable);
        auto listener = std::make_shared<InfoListener>();
        const auto info = SimpleRemainsInfo::initWithBundle(Bundle::bundleWithPath(app), listener);
        QVERIFY(info);
        QCOMPARE(info->getBundleName(), executable.isNull() ? name : executable);
        QStringList listing;
        for (const PathForRemove &record : recordsOf(*info)) {
            listing << QString("%1 %2").arg(record.type()).arg(QString(record.path()).replace(m_sandbox->home(), "~"));
            QCOMPARE(record.bundleId(), identifier.toLower());
        }
        QCOMPARE(listing, QStringList{"0 " + QString(app).replace(m_sandbox->home(), "~")} + expected);

        QTRY_COMPARE_WITH_TIMEOUT(listener->calls, int(listing.size()), 5000);
        quint64 sum = 0;
        for (const PathForRemove &record : recordsOf(*info)) {
            QVERIFY2(record.isSizeCalculated(), qPrintable(record.path()));
            QCOMPARE(record.getSize(), expectedAllocatedSize(record.path()));
            sum += record.getSize();
        }
        QCOMPARE(info->getTotalSize(), sum);
        waitForSizeWork();
        QCOMPARE(listener->calls, int(listing.size()));
        QVERIFY(listener->allOnMainThread);
    }

    // Further bundles of the same identifier are added and sized; others are ignored.
    void furtherBundlesWithTheSameIdentifierAreAdded()
    {
        const QString first = TestSandbox::makeApp(m_sandbox->trash() + "/Twice.app", "com.example.Twice", "Twice");
        const QString second = TestSandbox::makeApp(m_sandbox->trash() + "/Twice 2.app", "com.example.Twice", "Twice");
        TestSandbox::makeFile(second + "/Contents/Resources/big", 50000);
        auto listener = std::make_shared<InfoListener>();
        const auto info = SimpleRemainsInfo::initWithBundle(Bundle::bundleWithPath(first), listener);
        info->addBundle(Bundle::bundleWithPath(TestSandbox::makeApp(m_sandbox->trash() + "/Other.app", "com.example.Other", "Twice")));
        info->addBundle(Bundle::bundleWithPath(TestSandbox::makeApp(m_sandbox->trash() + "/Case.app", "COM.EXAMPLE.TWICE", "Twice")));
        info->addBundle(std::nullopt);
        info->addBundle(Bundle::bundleWithPath(second));
        QTRY_COMPARE_WITH_TIMEOUT(listener->calls, 2, 5000);
        waitForSizeWork();
        QCOMPARE(listener->calls, 2);
        QCOMPARE(recordsOf(*info).size(), 2);
        QCOMPARE(recordsOf(*info).at(1).path(), second);
        QCOMPARE(info->getTotalSize(), expectedAllocatedSize(first) + expectedAllocatedSize(second));
    }

    void bundlesWithoutIdentifierYieldNothing()
    {
        QVERIFY(!SimpleRemainsInfo::initWithBundle(std::nullopt, {}));
        TestSandbox::makeFile(m_sandbox->path("Library/Preferences/Nameless"), 100);
        auto listener = std::make_shared<InfoListener>();
        const auto info = SimpleRemainsInfo::initWithBundle(
            Bundle::bundleWithPath(TestSandbox::makeApp(m_sandbox->trash() + "/Nameless.app", QString(), "Nameless")), listener);
        QVERIFY(info);
        QVERIFY(recordsOf(*info).isEmpty());
        QCOMPARE(info->getTotalSize(), 0u);
        QCOMPARE(listener->calls, 0);
    }

    // Installed copies are looked for inside the Applications folders (a folder test);
    // the index's results are judged by a plain prefix test, stale ones ignored.
    void decisionLooksForInstalledCopies()
    {
        const QString system = m_sandbox->systemApplications();
        const QString user = m_sandbox->path("Applications");
        TestSandbox::makeApp(system + "/Installed.app", "com.example.Installed");
        TestSandbox::makeApp(user + "/Tools/UserInstalled.app", "com.example.UserInstalled");
        TestSandbox::makeApp(system + " Old/Beside.app", "com.example.Beside");
        TestSandbox::makeApp(m_sandbox->path("Volumes/Other/Elsewhere.app"), "com.example.Elsewhere");
        QCOMPARE(decisions({"com.example.Installed", "com.example.UserInstalled", "com.example.Beside", "com.example.Elsewhere",
                            "com.example.Nowhere", "com.example.Installed.Plugin", QString()}),
                 QList<int>({0, 0, 1, 1, 1, 1, 0}));

        const QList<QPair<QString, QString>> index{
            {"com.example.Indexed", TestSandbox::makeApp(system + " Old/Indexed.app", "com.example.Indexed")},
            {"com.example.UserIndexed", TestSandbox::makeApp(user + "-Archive/UserIndexed.app", "com.example.UserIndexed")},
            {"com.example.Far", TestSandbox::makeApp(m_sandbox->path("Volumes/Other/Far.app"), "com.example.Far")},
            {"com.example.Stale", system + "/Stale.app"},
            {"com.example.Stale", user + "/Stale.app"},
        };
        MetadataIndexQuery::setIndexSource([index](const QStringList &, const MetadataIndexQuery::IsStopped &) {
            QList<MetadataIndexQuery::Item> items;
            for (const auto &[identifier, path] : index)
                items.append({{MetadataIndexQuery::kItemBundleIdentifierKey, identifier}, {MetadataIndexQuery::kItemPathKey, path}});
            return items;
        });
        QCOMPARE(decisions({"com.example.Indexed", "com.example.UserIndexed", "com.example.Far", "com.example.Stale"}), QList<int>({0, 0, 1, 1}));
    }

private:
    // For each identifier, how often the ok block ran on the main thread once the
    // decision (and its search, if any) had ended; -1 when it ran on another thread.
    QList<int> decisions(const QStringList &identifiers)
    {
        QList<int> results;
        for (const QString &identifier : identifiers) {
            int calls = 0;
            bool onMainThread = true;
            SimpleRemainsInfo::calculateIsCanShowNotificationForBundleWithID(identifier, [&] {
                ++calls;
                onMainThread = onMainThread && MainThread::isCurrent();
            });
            [&] { QTRY_COMPARE_WITH_TIMEOUT(SpotlightEasySearch::runningSearchCount(), 0, 5000); }();
            results << (onMainThread ? calls : -1);
        }
        return results;
    }

    std::unique_ptr<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_SimpleRemainsInfo)
#include "tst_SimpleRemainsInfo.moc"
