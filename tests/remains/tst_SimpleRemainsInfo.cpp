#include "DiskUsage.h"
#include "support/TestSandbox.h"
#include "platform/MainThread.h"
#include "platform/MetadataIndexQuery.h"
#include "remains/ObjectsProcessor.h"
#include "remains/SimpleRemainsInfo.h"
#include "remains/SimpleRemainsInfoListener.h"
#include "remains/SimpleSizeCalculation.h"
#include "remains/SpotlightEasySearch.h"

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

class tst_SimpleRemainsInfo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }
    void cleanup() { MetadataIndexQuery::setIndexSource({}); }

    // Further bundles of the same identifier are added and sized, each size reported on the
    // main thread; others, and bundles without an identifier, are ignored. (The remains
    // themselves and their sizes are checked through the helper's listing.)
    void onlyBundlesOfTheSameIdentifierAreAdded()
    {
        const QString first = TestSandbox::makeApp(m_sandbox->trash() + "/Twice.app", "com.example.Twice", "Twice");
        const QString second = TestSandbox::makeApp(m_sandbox->trash() + "/Twice 2.app", "com.example.Twice", "Twice");
        TestSandbox::makeFile(second + "/Contents/Resources/big", 50000);
        TestSandbox::makeFile(m_sandbox->path("Library/Preferences/Nameless"), 100);
        auto listener = std::make_shared<InfoListener>();
        const auto info = SimpleRemainsInfo::initWithBundle(Bundle::bundleWithPath(first), listener);
        info->addBundle(Bundle::bundleWithPath(TestSandbox::makeApp(m_sandbox->trash() + "/Other.app", "com.example.Other", "Twice")));
        info->addBundle(Bundle::bundleWithPath(TestSandbox::makeApp(m_sandbox->trash() + "/Case.app", "COM.EXAMPLE.TWICE", "Twice")));
        info->addBundle(std::nullopt);
        info->addBundle(Bundle::bundleWithPath(second));
        QVERIFY(!SimpleRemainsInfo::initWithBundle(std::nullopt, listener));
        const auto nameless = SimpleRemainsInfo::initWithBundle(
            Bundle::bundleWithPath(TestSandbox::makeApp(m_sandbox->trash() + "/Nameless.app", QString(), "Nameless")), listener);
        QVERIFY(nameless && recordsOf(*nameless).isEmpty());
        QTRY_COMPARE_WITH_TIMEOUT(listener->calls, 2, 5000);
        // Once the workers are idle, a task posted now runs behind every size already reported.
        QTRY_VERIFY_WITH_TIMEOUT(!SimpleSizeCalculation::GetInstance().getProcessor()->isProcessorWorking(), 5000);
        bool reached = false;
        MainThread::async([&reached] { reached = true; });
        QTRY_VERIFY_WITH_TIMEOUT(reached, 5000);
        QCOMPARE(listener->calls, 2);
        QCOMPARE(recordsOf(*info).size(), 2);
        QCOMPARE(recordsOf(*info).at(1).path(), second);
        QCOMPARE(info->getTotalSize(), expectedAllocatedSize(first) + expectedAllocatedSize(second));
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
        QCOMPARE(decisions({"com.example.Indexed", "com.example.UserIndexed", "com.example.Far", "com.example.Stale"}),
                 QList<int>({0, 0, 1, 1}));
    }

    // "." and ".." are resolved by the text alone: no name leads out of the folder or to
    // the folder itself, whatever lies on the disk.
    void safePathsStayInsideTheirFolder()
    {
        const QString folder = m_sandbox->path("Library/Caches");
        QCOMPARE(SimpleRemainsInfo::createSafeToDeletePathInFolder(folder, "a/./b//c/"), folder + "/a/b/c");
        QCOMPARE(SimpleRemainsInfo::createSafeToDeletePathInFolder(folder, "/etc/passwd"), folder + "/etc/passwd");
        for (const QString &name : QStringList{"..", ".", "../Caches", "x/../..", "../../../../../../../../etc/passwd", "", QString()})
            QVERIFY2(SimpleRemainsInfo::createSafeToDeletePathInFolder(folder, name).isNull(), qPrintable(name));
        QVERIFY(SimpleRemainsInfo::createSafeToDeletePathInFolder(QString(), "x").isNull());
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

    std::unique_ptr<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_SimpleRemainsInfo)
#include "tst_SimpleRemainsInfo.moc"
