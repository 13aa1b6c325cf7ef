#include "TestSandbox.h"

#include <QDir>
#include <QDirIterator>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>

#include <csignal>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

// The real helper on a sandbox home, faced with what it cannot read: a folder and an
// application closed to it, a FIFO and a dangling link named like applications, and
// its Trash deleted under it. It must neither hang nor crash, and must keep reporting.
//
// Permissions do not stop root, so when the tests run as root the helper runs as
// "nobody" (setpriv) on a home given to that user; otherwise it runs as the user.
class tst_AgentFaults : public QObject
{
    Q_OBJECT
    static constexpr uid_t kOtherUser = 65534;
    static constexpr int kTimeoutMs = 30000;
    std::unique_ptr<TestSandbox> m_sandbox;
    QProcess m_helper;
    QString m_log;
    bool m_asOtherUser = false;

    QString trash() const { return m_sandbox->home() + u"/.local/share/Trash/files"_s; }
    QString staged(const QString &name) const { return m_sandbox->path(u"Downloads/"_s + name); }
    // Gives what the test made to the helper's user (nothing to do without root).
    void handOver(const QString &path) const
    {
        if (!m_asOtherUser)
            return;
        ::lchown(QFile::encodeName(path).constData(), kOtherUser, kOtherUser);
        for (QDirIterator it(path, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDirIterator::Subdirectories); it.hasNext();)
            ::lchown(QFile::encodeName(it.next()).constData(), kOtherUser, kOtherUser);
    }
    void makeApp(const QString &path) const
    {
        TestSandbox::makeApp(path, u"com.example."_s + QFileInfo(path).completeBaseName(), u"run"_s);
        handOver(path);
    }
    bool moveToTrash(const QString &name) const { return QDir().rename(staged(name), trash() + u'/' + name); }
    bool logged(const QString &text)
    {
        m_log += QString::fromLocal8Bit(m_helper.readAllStandardError() + m_helper.readAllStandardOutput());
        return m_log.contains(text);
    }
    bool reported(const QString &name) { return logged(u": reported: "_s + trash() + u'/' + name); }

private Q_SLOTS:
    void initTestCase()
    {
        m_sandbox = std::make_unique<TestSandbox>();
        // A copy of the helper's bundle in the sandbox, which the other user can reach
        // whatever the permissions of the build folder.
        const QString sandboxRoot = QFileInfo(m_sandbox->home()).path();
        const QString built = QDir::cleanPath(QFileInfo(QStringLiteral(TW_HELPER_EXECUTABLE)).absolutePath() + u"/../.."_s);
        const QString bundle = sandboxRoot + u"/helper-copy/"_s + QFileInfo(built).fileName();
        QVERIFY(QDir().mkpath(QFileInfo(bundle).path()));
        QCOMPARE(QProcess::execute(u"cp"_s, {u"-R"_s, built, bundle}), 0);
        QStringList command{bundle + u"/Contents/MacOS/"_s + QFileInfo(QStringLiteral(TW_HELPER_EXECUTABLE)).fileName(), u"--home"_s, m_sandbox->home()};
        if (::geteuid() == 0) {
            const QString setpriv = QStandardPaths::findExecutable(u"setpriv"_s);
            if (setpriv.isEmpty())
                QSKIP("running as root without setpriv: nothing would be unreadable to the helper");
            m_asOtherUser = true;
            command = QStringList{setpriv, u"--reuid=65534"_s, u"--regid=65534"_s, u"--clear-groups"_s} + command;
            // The sandbox's own folder lets the other user through to the home and the helper.
            QVERIFY(::chmod(QFile::encodeName(sandboxRoot).constData(), 0755) == 0);
        }
        QVERIFY(QDir().mkpath(staged(QString())));
        handOver(m_sandbox->home());
        handOver(m_sandbox->runtimeDirectory());

        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"HOME"_s, m_sandbox->home());
        environment.insert(u"XDG_RUNTIME_DIR"_s, m_sandbox->runtimeDirectory());
        environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        environment.insert(u"QT_LOGGING_RULES"_s, u"tarnwick.watching.debug=true"_s);
        environment.insert(u"TARNWICK_TEST_DELAY_DIVISOR"_s, QString::number(TestSandbox::kDelayDivisor));
        // Only crashes matter here; leaks are the in-process tests' business.
        environment.insert(u"ASAN_OPTIONS"_s, u"detect_leaks=0:abort_on_error=1"_s);
        m_helper.setProcessEnvironment(environment);
        m_helper.start(command.takeFirst(), command);
        QVERIFY(m_helper.waitForStarted(kTimeoutMs));
        QTRY_VERIFY_WITH_TIMEOUT(logged(u"Tarnwick Helper is watching"_s), kTimeoutMs);
    }

    // The helper quits cleanly on SIGTERM: it neither crashed nor hung meanwhile.
    void cleanupTestCase()
    {
        if (m_helper.state() != QProcess::Running)
            return;
        ::kill(pid_t(m_helper.processId()), SIGTERM);
        QVERIFY(m_helper.waitForFinished(kTimeoutMs));
        QVERIFY(m_helper.exitStatus() == QProcess::NormalExit && m_helper.exitCode() == 0);
    }

    // A folder the helper cannot list, an application it cannot open, a FIFO and a
    // dangling link named like applications: none is reported, none stops the helper.
    // Once the closed folder has been searched, a plain application still is reported.
    void passesOverWhatItCannotRead()
    {
        makeApp(staged(u"Closed/Inside.app"_s));
        QVERIFY(::chmod(QFile::encodeName(staged(u"Closed"_s)).constData(), 0) == 0);
        makeApp(staged(u"Sealed.app"_s));
        QVERIFY(::chmod(QFile::encodeName(staged(u"Sealed.app"_s)).constData(), 0) == 0);
        QVERIFY(moveToTrash(u"Closed"_s) && moveToTrash(u"Sealed.app"_s));
        QVERIFY(::mkfifo(QFile::encodeName(trash() + u"/Pipe.app"_s).constData(), 0600) == 0);
        QVERIFY(QFile::link(m_sandbox->path(u"nowhere"_s), trash() + u"/Dangling.app"_s));
        handOver(trash());

        QTRY_VERIFY_WITH_TIMEOUT(logged(u"searching folder "_s + trash() + u"/Closed"_s), kTimeoutMs);
        makeApp(staged(u"Sentinel.app"_s));
        QVERIFY(moveToTrash(u"Sentinel.app"_s));
        QTRY_VERIFY_WITH_TIMEOUT(reported(u"Sentinel.app"_s), kTimeoutMs);
        QVERIFY2(m_log.count(u": reported: "_s) == 1, qPrintable(m_log));
        QCOMPARE(m_helper.state(), QProcess::Running);
    }

    // Once the helper has heard of the deletion, the folder made again (as a file manager
    // does on its next deletion) is new to it. A refresh still pending from the deletion
    // may find the first arrival; only a watch on the new folder finds the second.
    void keepsWorkingWhenItsTrashIsDeletedAndMadeAgain()
    {
        const QString trashRoot = QFileInfo(trash()).path();
        QVERIFY(QDir(trashRoot).removeRecursively());
        QTRY_VERIFY_WITH_TIMEOUT(logged(u"change VDKQueueFileDeletedNotification"_s), kTimeoutMs);
        QVERIFY(QDir().mkpath(trash()) && QDir().mkpath(trashRoot + u"/info"_s));
        handOver(trashRoot);
        for (const QString &name : {u"After.app"_s, u"AfterAgain.app"_s}) {
            makeApp(staged(name));
            QVERIFY(moveToTrash(name));
            QTRY_VERIFY_WITH_TIMEOUT(reported(name), kTimeoutMs);
        }
        QCOMPARE(m_helper.state(), QProcess::Running);
    }
};

QTEST_GUILESS_MAIN(tst_AgentFaults)
#include "tst_AgentFaults.moc"

