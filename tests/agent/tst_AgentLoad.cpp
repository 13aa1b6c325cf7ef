#include "AgentLoad.h"
#include "TestSandbox.h"

#include <QDir>
#include <QTest>

#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

// The whole agent under load: a thousand applications trashed in bursts, each reported
// once and gathered into one notification per burst, with memory, descriptors and
// threads back where they were; and what it cannot read moved in. The figures of a
// Release run come from bench/bench_AgentLoad.
//
// Permissions do not stop root, so run as root the test acts as "nobody" (its
// effective user) from the start: everything it makes is that user's.
class tst_AgentLoad : public QObject
{
    Q_OBJECT
    static constexpr int kTimeoutMs = 60000;
    static constexpr uid_t kNobody = 65534;
    std::unique_ptr<TestSandbox> m_sandbox;
    std::unique_ptr<AgentLoad> m_load;

    bool moveToTrash(const QString &name) const { return QDir().rename(m_sandbox->path(u"Downloads/"_s + name), m_sandbox->trash() + u'/' + name); }
    // Moves the folder in and closes it at once, long before the agent's quiet time ends
    // (a folder cannot move to another parent once closed).
    bool moveInClosed(const QString &app) const
    {
        const QString name = app.section(u'/', 0, 0);
        TestSandbox::makeApp(m_sandbox->path(u"Downloads/"_s + app), u"com.example.closed"_s);
        return moveToTrash(name) && ::chmod(QFile::encodeName(m_sandbox->trash() + u'/' + name).constData(), 0) == 0;
    }

private Q_SLOTS:
    void initTestCase()
    {
        if (::geteuid() == 0) {
            QVERIFY(::setegid(kNobody) == 0 && ::seteuid(kNobody) == 0);
            ::prctl(PR_SET_DUMPABLE, 1); // keeps /proc/self readable to the new user
        }
        m_sandbox = std::make_unique<TestSandbox>();
        m_load = std::make_unique<AgentLoad>(*m_sandbox);
    }
    void cleanupTestCase()
    {
        m_load.reset();
        if (::getuid() == 0)
            QVERIFY(::seteuid(0) == 0 && ::setegid(0) == 0);
        m_sandbox.reset();
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

    // A folder and an application closed to it, a FIFO and a dangling link named like
    // applications: none is reported, none stops the agent. An application two folders
    // down in a folder moved in after them, found only by a search that comes no earlier
    // than the closed folder's, is shown.
    void passesOverWhatItCannotRead()
    {
        QVERIFY(moveInClosed(u"Closed/Inside.app"_s) && moveInClosed(u"Sealed.app"_s));
        QCOMPARE(::mkfifo(QFile::encodeName(m_sandbox->trash() + u"/Pipe.app"_s).constData(), 0600), 0);
        QVERIFY(QFile::link(m_sandbox->path(u"nowhere"_s), m_sandbox->trash() + u"/Dangling.app"_s));
        QVERIFY(m_load->isShownWhenTrashed(u"AfterFaults"_s, kTimeoutMs, u"Later/Sub"_s));
        for (const QString &entry : {u"Closed/Inside.app"_s, u"Sealed.app"_s, u"Pipe.app"_s, u"Dangling.app"_s})
            QVERIFY2(m_load->reportsOf(m_sandbox->trash() + u'/' + entry) == 0, qPrintable(entry));
        for (const QString &closed : {u"Closed"_s, u"Sealed.app"_s})
            ::chmod(QFile::encodeName(m_sandbox->trash() + u'/' + closed).constData(), 0700);
    }
};

QTEST_MAIN(tst_AgentLoad)
#include "tst_AgentLoad.moc"
