#include "support/TestSandbox.h"
#include "platform/MainThread.h"
#include "platform/MetadataIndexQuery.h"
#include "platform/ThreadLauncher.h"
#include "remains/SpotlightEasySearch.h"

#include <QDir>
#include <QTest>
#include <QTimer>

#include <fcntl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

using Item = MetadataIndexQuery::Item;

// A started search whose result block adds what it was handed to the list: whether the
// query has stopped, and the paths found.
std::shared_ptr<SpotlightEasySearch> search(QStringList &seen, const QString &id, double wait = 1.5, const QStringList &scopes = {})
{
    auto search = SpotlightEasySearch::create();
    search->setResultBlock([&seen](SpotlightEasySearch *, MetadataIndexQuery *query) {
        QStringList line{query->isStopped() ? "stopped" : "running"};
        for (const Item &item : query->results())
            line << item.value(MetadataIndexQuery::kItemPathKey).toString();
        seen << line.join(' ');
    });
    search->setMaxWaitTime(wait);
    search->startQuery(QString("kMDItemCFBundleIdentifier == '%1' AND kMDItemPath LIKE '?*'").arg(id), scopes);
    return search;
}

} // namespace

class tst_SpotlightEasySearch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }
    void cleanup() { MetadataIndexQuery::setIndexSource({}); }

    // Nothing holds a finished search: it goes at once with its query, not at the limit.
    // The time-out, once it has fired, finds nothing to stop and the block is not called
    // again. A search running beside it keeps to its own query.
    void finishedGatheringCallsTheBlockOnce()
    {
        const QString app = TestSandbox::makeApp(m_sandbox->path("scope/Found.app"), "com.example.Found");
        TestSandbox::makeApp(m_sandbox->path("scope/Other.app"), "com.example.Other");
        const QString twin = TestSandbox::makeApp(m_sandbox->path("twin/Twin.app"), "com.example.Found");
        QStringList twinSeen, seen;
        search(twinSeen, "com.example.Found", 1.5, {m_sandbox->path("twin")});
        const std::weak_ptr<SpotlightEasySearch> watched = search(seen, "com.example.Found", 0.2, {m_sandbox->path("scope")});
        QVERIFY(SpotlightEasySearch::isRegistered(watched.lock().get()));
        QTRY_COMPARE_WITH_TIMEOUT(seen, QStringList{"stopped " + app}, 5000);
        QTRY_COMPARE_WITH_TIMEOUT(twinSeen, QStringList{"stopped " + twin}, 5000);
        QVERIFY(watched.expired());
        bool limitPassed = false;
        MainThread::after(std::chrono::milliseconds(400), nullptr, [&limitPassed] { limitPassed = true; });
        QTRY_VERIFY_WITH_TIMEOUT(limitPassed, 5000);
        QCOMPARE(seen.size(), 1);
    }

    // The identifier goes into the predicate unescaped: a predicate the query cannot read
    // ends the search, with nothing found, before startQuery returns; a late stop finds
    // nothing more to do.
    void unreadablePredicateEndsAtOnce()
    {
        QStringList seen;
        const auto unreadable = search(seen, "it's quoted");
        QVERIFY(seen == QStringList{"stopped"} && !SpotlightEasySearch::isRegistered(unreadable.get()));
        unreadable->stopQuery();
        QCOMPARE(seen.size(), 1);
    }

    // A walk stuck in a file call (a FIFO three folders down in an application folder)
    // makes its search time out, with the query stopped, without the main thread waiting
    // for its thread, which is left behind. Such threads stay few: a search beyond them,
    // or one whose thread the system refuses, ends at once with nothing. Once the call
    // returns they end.
    void stuckWalksAreLeftBehindAndFew()
    {
        const QByteArray fifo = QFile::encodeName(m_sandbox->systemApplications() + "/Vendor/Suite/Tools/Stuck");
        QVERIFY(QDir().mkpath(QFileInfo(fifo).path()) && ::mkfifo(fifo.constData(), 0600) == 0);
        MetadataIndexQuery::setIndexSource([fifo](const QStringList &, const MetadataIndexQuery::IsStopped &) {
            ::close(::open(fifo.constData(), O_RDONLY)); // until a writer comes
            return QList<Item>{};
        });
        QStringList seen;
        const int most = ApplicationBundleWalks::kMaxThreads;
        for (int i = 0; i < most; ++i) {
            search(seen, "com.example.Stuck", 0.05);
            QTRY_COMPARE_WITH_TIMEOUT(seen.size(), i + 1, 5000);
        }
        QCOMPARE(ApplicationBundleWalks::threadCount(), most);
        search(seen, "com.example.Stuck");
        QCOMPARE(seen, QStringList(most + 1, "stopped"));
        QTRY_VERIFY_WITH_TIMEOUT((::close(::open(fifo.constData(), O_WRONLY | O_NONBLOCK)), ApplicationBundleWalks::threadCount() == 0), 5000);

        MetadataIndexQuery::setIndexSource({});
        const QString app = TestSandbox::makeApp(m_sandbox->systemApplications() + "/Fine.app", "com.example.Fine");
        ThreadLauncher::setRefusedForTests(true);
        search(seen, "com.example.Fine");
        ThreadLauncher::setRefusedForTests(false);
        QCOMPARE(seen.size(), most + 2);
        search(seen, "com.example.Fine");
        QTRY_COMPARE_WITH_TIMEOUT(seen.last(), "stopped " + app, 5000);
    }

    // Quitting stops the running searches, and their walks, without answers; a search
    // started afterwards ends at once, unanswered too.
    void quittingStopsTheSearchesWithoutAnswers()
    {
        std::atomic<bool> walkEnded{false};
        MetadataIndexQuery::setIndexSource([&walkEnded](const QStringList &, const MetadataIndexQuery::IsStopped &isStopped) {
            while (!isStopped())
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            walkEnded = true;
            return QList<Item>{{{MetadataIndexQuery::kItemPathKey, "/late"}}};
        });
        QStringList seen;
        const std::weak_ptr<SpotlightEasySearch> running = search(seen, "com.example.Running");
        QTimer::singleShot(0, [] { QCoreApplication::quit(); });
        QCoreApplication::exec();
        QVERIFY(running.expired());
        QVERIFY(!SpotlightEasySearch::isRegistered(search(seen, "com.example.Late").get()));
        QTRY_VERIFY_WITH_TIMEOUT(walkEnded && ApplicationBundleWalks::threadCount() == 0, 5000);
        QCoreApplication::processEvents(); // the main thread's queue is closed: no late answer can come
        QCOMPARE(seen, QStringList());
    }

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_SpotlightEasySearch)
#include "tst_SpotlightEasySearch.moc"
