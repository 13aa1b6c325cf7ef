#include "support/TestSandbox.h"
#include "platform/MainThread.h"
#include "platform/MetadataIndexQuery.h"
#include "platform/Workspace.h"
#include "remains/SpotlightEasySearch.h"

#include <QTest>

#include <thread>

namespace {

// What a result block saw.
struct Outcome
{
    int calls = 0;
    MetadataIndexQuery *query = nullptr;
    bool stopped = false;
    QStringList paths;
};

SpotlightEasySearch::ResultBlock recordInto(Outcome &outcome)
{
    return [&outcome](SpotlightEasySearch *, MetadataIndexQuery *query) {
        ++outcome.calls;
        outcome.query = query;
        outcome.stopped = query->isStopped();
        outcome.paths.clear();
        for (const MetadataIndexQuery::Item &item : query->results())
            outcome.paths << item.value(MetadataIndexQuery::kItemPathKey).toString();
    };
}

QString predicateFor(const QString &identifier)
{
    return QStringLiteral("kMDItemCFBundleIdentifier == '%1' AND kMDItemPath LIKE '?*'").arg(identifier);
}

} // namespace

class tst_SpotlightEasySearch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }
    void cleanup() { MetadataIndexQuery::setIndexSource({}); }

    void finishedGatheringCallsTheBlockOnce()
    {
        const QString scope = m_sandbox->path("scopeA");
        const QString app = TestSandbox::makeApp(scope + "/Found.app", "com.example.Found");
        TestSandbox::makeApp(scope + "/Other.app", "com.example.Other");
        Outcome outcome;
        std::weak_ptr<SpotlightEasySearch> watched;
        {
            auto search = SpotlightEasySearch::create();
            QCOMPARE(search->maxWaitTime(), 30.0 / TestSandbox::kDelayDivisor);
            search->setMaxWaitTime(0.2);
            search->setResultBlock(recordInto(outcome));
            search->startQuery(predicateFor("com.example.Found"), {scope});
            QVERIFY(SpotlightEasySearch::isRegistered(search.get()));
            watched = search;
        }
        QTRY_COMPARE_WITH_TIMEOUT(outcome.calls, 1, 5000);
        QCOMPARE(outcome.paths, QStringList{app});
        QVERIFY(outcome.stopped);
        // Nothing holds a finished search: it goes at once with its query and the
        // query's thread, not at the limit. The time-out, once it has fired, finds
        // nothing to stop and the block is not called again.
        QVERIFY(watched.expired());
        bool limitPassed = false;
        MainThread::after(std::chrono::milliseconds(400), nullptr, [&limitPassed] { limitPassed = true; });
        QTRY_VERIFY_WITH_TIMEOUT(limitPassed, 5000);
        QCOMPARE(outcome.calls, 1);
    }

    void slowQueryIsStoppedAtTheLimit()
    {
        std::atomic<bool> sourceEnded{false};
        MetadataIndexQuery::setIndexSource([&sourceEnded](const QStringList &, const MetadataIndexQuery::IsStopped &isStopped) {
            while (!isStopped())
                std::this_thread::sleep_for(std::chrono::milliseconds(1)); // never finishes by itself
            sourceEnded = true;
            return QList<MetadataIndexQuery::Item>{{{MetadataIndexQuery::kItemPathKey, QStringLiteral("/late")}}};
        });
        Outcome outcome;
        auto search = SpotlightEasySearch::create();
        search->setMaxWaitTime(0.05);
        search->setResultBlock(recordInto(outcome));
        search->startQuery(predicateFor("com.example.Slow"));
        QTRY_COMPARE_WITH_TIMEOUT(outcome.calls, 1, 5000);
        QVERIFY(outcome.stopped);
        QVERIFY(outcome.paths.isEmpty());
        QVERIFY(!SpotlightEasySearch::isRegistered(search.get()));
        QTRY_VERIFY_WITH_TIMEOUT(sourceEnded.load(), 5000);
    }

    void concurrentSearchesKeepToTheirOwnQuery()
    {
        const QString first = TestSandbox::makeApp(m_sandbox->path("scopeB/First.app"), "com.example.Pair");
        const QString second = TestSandbox::makeApp(m_sandbox->path("scopeC/Second.app"), "com.example.Pair");
        Outcome outcomeB;
        Outcome outcomeC;
        auto searchB = SpotlightEasySearch::create();
        auto searchC = SpotlightEasySearch::create();
        searchB->setResultBlock(recordInto(outcomeB));
        searchC->setResultBlock(recordInto(outcomeC));
        searchB->startQuery(predicateFor("com.example.Pair"), {m_sandbox->path("scopeB")});
        searchC->startQuery(predicateFor("com.example.Pair"), {m_sandbox->path("scopeC")});
        QTRY_COMPARE_WITH_TIMEOUT(outcomeB.calls + outcomeC.calls, 2, 5000);
        QCOMPARE(outcomeB.calls, 1);
        QCOMPARE(outcomeB.query, searchB->query().get());
        QCOMPARE(outcomeB.paths, QStringList{first});
        QCOMPARE(outcomeC.query, searchC->query().get());
        QCOMPARE(outcomeC.paths, QStringList{second});
    }

    void noFoldersSearchesTheApplicationFolders()
    {
        const QString app = TestSandbox::makeApp(m_sandbox->systemApplications() + "/Games/Default.app", "com.example.Default");
        Outcome outcome;
        auto search = SpotlightEasySearch::create();
        search->setResultBlock(recordInto(outcome));
        search->startQuery(predicateFor("com.example.Default"), {});
        QCOMPARE(search->query()->searchScopes(), Workspace::applicationFolders());
        QTRY_COMPARE_WITH_TIMEOUT(outcome.calls, 1, 5000);
        QCOMPARE(outcome.paths, QStringList{app});
    }

    void searchWithoutBlockStillEnds()
    {
        auto search = SpotlightEasySearch::create();
        search->startQuery(predicateFor("com.example.Nothing"));
        QVERIFY(SpotlightEasySearch::isRegistered(search.get()));
        QTRY_VERIFY_WITH_TIMEOUT(!SpotlightEasySearch::isRegistered(search.get()), 5000);
        QVERIFY(search->query()->isStopped());
    }

    void unreadablePredicateEndsAtOnce()
    {
        Outcome outcome;
        auto search = SpotlightEasySearch::create();
        search->setResultBlock(recordInto(outcome));
        search->startQuery(QStringLiteral("kMDItemCFBundleIdentifier == 'it's quoted' AND"));
        QCOMPARE(outcome.calls, 1); // before startQuery returned
        QVERIFY(outcome.stopped);
        QVERIFY(outcome.paths.isEmpty());
        QVERIFY(!SpotlightEasySearch::isRegistered(search.get()));
        search->stopQuery(); // a late stop finds nothing more to do
        QCOMPARE(outcome.calls, 1);
    }

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_SpotlightEasySearch)
#include "tst_SpotlightEasySearch.moc"
