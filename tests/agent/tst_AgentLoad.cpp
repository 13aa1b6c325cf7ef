#include "AgentLoad.h"
#include "TestSandbox.h"

#include <QDir>
#include <QTest>

// The whole agent under load: a thousand applications trashed in bursts, each reported
// once and gathered into one notification per burst, with memory, descriptors and
// threads back where they were; and a Trash deleted and made again under it. The
// figures of a Release run come from bench/bench_AgentLoad.
class tst_AgentLoad : public QObject
{
    Q_OBJECT
    static constexpr int kTimeoutMs = 60000;
    std::unique_ptr<TestSandbox> m_sandbox;
    std::unique_ptr<AgentLoad> m_load;

private Q_SLOTS:
    void initTestCase()
    {
        m_sandbox = std::make_unique<TestSandbox>();
        m_load = std::make_unique<AgentLoad>(*m_sandbox);
    }

    // The first burst warms up what is made once (the window, fonts, worker threads).
    // Each decision's metadata search has its own thread, which ends with the search.
    void everyBundleReportedOnceInOneGatheringPerBurst()
    {
        QVERIFY(m_load->runBurst(100, kTimeoutMs).complete);
        const qint64 residentBefore = AgentLoad::residentKilobytes();
        const int descriptorsBefore = AgentLoad::openDescriptors();
        const int threadsBefore = AgentLoad::threadCount();
        for (int round = 0; round < 10; ++round) {
            const AgentLoad::Burst burst = m_load->runBurst(100, kTimeoutMs);
            QVERIFY2(burst.complete, qPrintable(QStringLiteral("burst %1 held %2 of %3").arg(round).arg(burst.gathered).arg(burst.moved)));
            // Moved, reported, reported again, notifications begun, bundles gathered.
            QCOMPARE((QList<int>{burst.moved, burst.reported, burst.extraReports, burst.gatherings, burst.gathered}),
                     (QList<int>{100, 100, 0, 1, 100}));
        }
        QCOMPARE(AgentLoad::openDescriptors(), descriptorsBefore);
        QCOMPARE(AgentLoad::threadCount(), threadsBefore);
        const qint64 residentAfter = AgentLoad::residentKilobytes();
        qInfo("resident memory: %lld kB before, %lld kB after", residentBefore, residentAfter);
        // AddressSanitizer keeps freed memory in quarantine on purpose; the figure means
        // something only without it (see bench/bench_AgentLoad).
#ifndef __SANITIZE_ADDRESS__
        QVERIFY2(residentAfter * 10 <= residentBefore * 11, qPrintable(QStringLiteral("%1 kB -> %2 kB").arg(residentBefore).arg(residentAfter)));
#endif
    }

    // Deleted while the agent watches, then made again: once by the next trashing (as a
    // file manager does) before the agent has even noticed, once after it has. Each time
    // a second application follows the first: a refresh still pending from the deletion
    // may find the first in the new folder, only a watch on the new folder finds the second.
    void keepsWorkingWhenTheTrashIsDeletedAndMadeAgain()
    {
        const QString trashRoot = m_sandbox->home() + QStringLiteral("/.local/share/Trash");
        QVERIFY(QDir(trashRoot).removeRecursively());
        QVERIFY(m_load->isShownWhenTrashed(QStringLiteral("RightAfter"), kTimeoutMs));
        QVERIFY(m_load->isShownWhenTrashed(QStringLiteral("RightAfterAgain"), kTimeoutMs));

        QVERIFY(QDir(trashRoot).removeRecursively());
        QTRY_VERIFY_WITH_TIMEOUT(!m_load->isWatchingTrash(), kTimeoutMs);
        QVERIFY(m_load->isShownWhenTrashed(QStringLiteral("Later"), kTimeoutMs));
        QVERIFY(m_load->isShownWhenTrashed(QStringLiteral("LaterAgain"), kTimeoutMs));
    }
};

QTEST_MAIN(tst_AgentLoad)
#include "tst_AgentLoad.moc"
