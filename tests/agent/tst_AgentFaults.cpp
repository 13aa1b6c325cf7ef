#include "TestSandbox.h"
#include "agent/AppDelegate.h"
#include "platform/Bundle.h"

#include <QDir>
#include <QTest>

#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// The delegate, counting the reports of each path instead of offering anything.
class CountingDelegate : public AppDelegate
{
public:
    QHash<QString, int> reports;
    void onAppMovedToTrash(const Bundle &bundle) override { ++reports[bundle.bundlePath()]; }
};

} // namespace

// The whole agent (its Trash watcher on a sandbox home) faced with what it cannot read:
// nothing of it is reported and none of it stops the agent.
//
// Permissions do not stop root, so run as root the test takes "nobody" as its effective
// user from the start: everything it makes is that user's, and the agent, in this
// process, reads as that user.
class tst_AgentFaults : public QObject
{
    Q_OBJECT
    static constexpr uid_t kNobody = 65534;
    std::unique_ptr<TestSandbox> m_sandbox;
    std::unique_ptr<CountingDelegate> m_delegate;

    QString trashed(const QString &name) const { return m_sandbox->trash() + u'/' + name; }
    bool moveToTrash(const QString &name) const { return QDir().rename(m_sandbox->path(u"Downloads/"_s + name), trashed(name)); }
    // Moves the application's top folder in and closes it at once, long before the
    // agent's quiet time ends (a folder cannot move to another parent once closed).
    bool moveInClosed(const QString &app) const
    {
        TestSandbox::makeApp(m_sandbox->path(u"Downloads/"_s + app), u"com.example.closed"_s);
        const QString top = app.section(u'/', 0, 0);
        return moveToTrash(top) && ::chmod(QFile::encodeName(trashed(top)).constData(), 0) == 0;
    }

private Q_SLOTS:
    void initTestCase()
    {
        if (::geteuid() == 0) {
            QVERIFY(::setegid(kNobody) == 0 && ::seteuid(kNobody) == 0);
            ::prctl(PR_SET_DUMPABLE, 1); // keeps /proc/self readable to the new user
        }
        m_sandbox = std::make_unique<TestSandbox>();
        m_delegate = std::make_unique<CountingDelegate>();
        m_delegate->applicationDidFinishLaunching();
    }
    void cleanupTestCase()
    {
        for (const QString &closed : {u"Closed"_s, u"Sealed.app"_s})
            ::chmod(QFile::encodeName(trashed(closed)).constData(), 0700);
        m_delegate.reset();
        if (::getuid() == 0)
            QVERIFY(::seteuid(0) == 0 && ::setegid(0) == 0);
        m_sandbox.reset();
    }

    // A folder and an application closed to it, a FIFO and a dangling link named like
    // applications. An application two folders down in a folder moved in after them,
    // found only by a search that comes no earlier than the closed folder's, is the one
    // report.
    void passesOverWhatItCannotRead()
    {
        QVERIFY(moveInClosed(u"Closed/Inside.app"_s) && moveInClosed(u"Sealed.app"_s));
        QCOMPARE(::mkfifo(QFile::encodeName(trashed(u"Pipe.app"_s)).constData(), 0600), 0);
        QVERIFY(QFile::link(m_sandbox->path(u"nowhere"_s), trashed(u"Dangling.app"_s)));
        TestSandbox::makeApp(m_sandbox->path(u"Downloads/Later/Sub/After.app"_s), u"com.example.after"_s);
        QVERIFY(moveToTrash(u"Later"_s));
        QTRY_VERIFY_WITH_TIMEOUT(m_delegate->reports.contains(trashed(u"Later/Sub/After.app"_s)), 30000);
        QCOMPARE(m_delegate->reports.keys(), QStringList{trashed(u"Later/Sub/After.app"_s)});
    }
};

QTEST_MAIN(tst_AgentFaults)
#include "tst_AgentFaults.moc"
