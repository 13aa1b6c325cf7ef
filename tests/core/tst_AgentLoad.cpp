#include "AgentLoad.h"
#include "TestSandbox.h"
#include "../watching/WatchingLogSpy.h"

#include <QDir>
#include <QTest>

#include <memory>

// The whole agent under load: a thousand applications trashed in bursts, each reported
// once and gathered into one notification per burst, with memory, descriptors and
// threads back where they were; and a Trash deleted and made again under it. The figures of a
// Release run come from bench/bench_AgentLoad.
class tst_AgentLoad : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void everyBundleReportedOnceInOneGatheringPerBurst();
    void keepsWorkingWhenTheTrashIsDeletedAndMadeAgain();

private:
    static constexpr int kBursts = 10;
    static constexpr int kBurstSize = 100;
    static constexpr int kTimeoutMs = 60000;

    std::unique_ptr<TestSandbox> m_sandbox;
    std::unique_ptr<AgentLoad> m_load;
};

void tst_AgentLoad::initTestCase()
{
    m_sandbox = std::make_unique<TestSandbox>();
    m_load = std::make_unique<AgentLoad>(*m_sandbox);
}

void tst_AgentLoad::everyBundleReportedOnceInOneGatheringPerBurst()
{
    // The first burst warms up what is made once (the window, fonts, worker threads).
    QVERIFY(m_load->runBurst(kBurstSize, kTimeoutMs).complete);
    const qint64 residentBefore = AgentLoad::residentKilobytes();
    const int descriptorsBefore = AgentLoad::openDescriptors();
    const int threadsBefore = AgentLoad::threadCount();

    for (int round = 0; round < kBursts; ++round) {
        const AgentLoad::Burst burst = m_load->runBurst(kBurstSize, kTimeoutMs);
        QVERIFY2(burst.complete, qPrintable(QStringLiteral("burst %1 held %2 of %3").arg(round).arg(burst.gathered).arg(burst.moved)));
        QCOMPARE(burst.moved, kBurstSize);
        QCOMPARE(burst.reported, kBurstSize);
        QCOMPARE(burst.extraReports, 0);
        QCOMPARE(burst.gatherings, 1);
        QCOMPARE(burst.gathered, kBurstSize);
    }

    QCOMPARE(AgentLoad::openDescriptors(), descriptorsBefore);
    // Each decision's metadata search has its own thread, which ends with the search.
    QCOMPARE(AgentLoad::threadCount(), threadsBefore);
    const qint64 residentAfter = AgentLoad::residentKilobytes();
    qInfo("resident memory: %lld kB before, %lld kB after", residentBefore, residentAfter);
#ifdef __SANITIZE_ADDRESS__
    // AddressSanitizer keeps freed memory in quarantine on purpose; the figure means
    // something only without it (see bench/bench_AgentLoad).
    Q_UNUSED(residentAfter);
#else
    QVERIFY2(residentAfter * 10 <= residentBefore * 11, qPrintable(QStringLiteral("%1 kB -> %2 kB").arg(residentBefore).arg(residentAfter)));
#endif
}

// Deleted while the agent watches, then made again: once by the next trashing (as a
// file manager does) before the agent has even noticed, once after it has. Each time
// a second application follows the first: a refresh still pending from the deletion
// may find the first in the new folder, only a watch on the new folder finds the second.
void tst_AgentLoad::keepsWorkingWhenTheTrashIsDeletedAndMadeAgain()
{
    const QString trashRoot = m_sandbox->home() + QStringLiteral("/.local/share/Trash");
    QVERIFY(QDir(trashRoot).removeRecursively());
    QVERIFY(m_load->isShownWhenTrashed(QStringLiteral("RightAfter"), kTimeoutMs));
    QVERIFY(m_load->isShownWhenTrashed(QStringLiteral("RightAfterAgain"), kTimeoutMs));

    WatchingLogSpy log;
    QVERIFY(QDir(trashRoot).removeRecursively());
    QTRY_VERIFY_WITH_TIMEOUT(log.count(QStringLiteral("change VDKQueueFileDeletedNotification")) > 0, kTimeoutMs);
    QVERIFY(m_load->isShownWhenTrashed(QStringLiteral("Later"), kTimeoutMs));
    QVERIFY(m_load->isShownWhenTrashed(QStringLiteral("LaterAgain"), kTimeoutMs));
}

QTEST_MAIN(tst_AgentLoad)
#include "tst_AgentLoad.moc"
