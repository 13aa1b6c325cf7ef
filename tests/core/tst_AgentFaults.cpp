#include "TestSandbox.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>

#include <csignal>
#include <sys/stat.h>
#include <unistd.h>

// The real helper on a sandbox home, faced with what it cannot read: a folder and an
// application closed to it, a FIFO and a dangling link named like applications, and
// its Trash deleted under it. It must neither hang nor crash, and must keep reporting.
//
// Permissions do not stop root, so when the tests run as root the helper runs as
// "nobody" (setpriv) on a home given to that user; otherwise it runs as the user.
class tst_AgentFaults : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void passesOverWhatItCannotRead();
    void keepsWorkingWhenItsTrashIsDeletedAndMadeAgain();

private:
    static constexpr uid_t kOtherUser = 65534;
    static constexpr int kTimeoutMs = 30000;

    QString trash() const { return m_sandbox->home() + QStringLiteral("/.local/share/Trash/files"); }
    QString staged(const QString &name) const { return m_sandbox->path(QStringLiteral("Downloads/") + name); }
    // Gives what the test made to the helper's user (nothing to do without root).
    void handOver(const QString &path) const;
    QString makeApp(const QString &path) const;
    bool moveToTrash(const QString &name) const;
    bool logged(const QString &text);

    std::unique_ptr<TestSandbox> m_sandbox;
    QProcess m_helper;
    QString m_log;
    bool m_asOtherUser = false;
};

void tst_AgentFaults::handOver(const QString &path) const
{
    if (!m_asOtherUser)
        return;
    ::lchown(QFile::encodeName(path).constData(), kOtherUser, kOtherUser);
    QDirIterator it(path, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext())
        ::lchown(QFile::encodeName(it.next()).constData(), kOtherUser, kOtherUser);
}

QString tst_AgentFaults::makeApp(const QString &path) const
{
    TestSandbox::makeApp(path, QStringLiteral("com.example.") + QFileInfo(path).completeBaseName(), QStringLiteral("run"));
    handOver(path);
    return path;
}

bool tst_AgentFaults::moveToTrash(const QString &name) const
{
    return QDir().rename(staged(name), trash() + QLatin1Char('/') + name);
}

bool tst_AgentFaults::logged(const QString &text)
{
    m_log += QString::fromLocal8Bit(m_helper.readAllStandardError() + m_helper.readAllStandardOutput());
    return m_log.contains(text);
}

void tst_AgentFaults::initTestCase()
{
    m_sandbox = std::make_unique<TestSandbox>();
    // A copy of the helper's bundle in the sandbox, which the other user can reach
    // whatever the permissions of the build folder.
    const QString sandboxRoot = QFileInfo(m_sandbox->home()).path();
    const QString built = QFileInfo(QStringLiteral(TW_HELPER_EXECUTABLE)).absoluteDir().absoluteFilePath(QStringLiteral("../.."));
    const QString bundle = sandboxRoot + QStringLiteral("/helper-copy/") + QFileInfo(QDir::cleanPath(built)).fileName();
    QVERIFY(QDir().mkpath(QFileInfo(bundle).path()));
    QCOMPARE(QProcess::execute(QStringLiteral("cp"), {QStringLiteral("-R"), QDir::cleanPath(built), bundle}), 0);
    QStringList command{bundle + QStringLiteral("/Contents/MacOS/") + QFileInfo(QStringLiteral(TW_HELPER_EXECUTABLE)).fileName(),
                        QStringLiteral("--home"), m_sandbox->home()};
    if (::geteuid() == 0) {
        const QString setpriv = QStandardPaths::findExecutable(QStringLiteral("setpriv"));
        if (setpriv.isEmpty())
            QSKIP("running as root without setpriv: nothing would be unreadable to the helper");
        m_asOtherUser = true;
        command = QStringList{setpriv, QStringLiteral("--reuid=65534"), QStringLiteral("--regid=65534"), QStringLiteral("--clear-groups")} + command;
        // The sandbox's own folder lets the other user through to the home and the helper.
        QVERIFY(::chmod(QFile::encodeName(sandboxRoot).constData(), 0755) == 0);
    }
    QVERIFY(QDir().mkpath(staged(QString())));
    handOver(m_sandbox->home());
    handOver(m_sandbox->runtimeDirectory());

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), m_sandbox->home());
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_sandbox->runtimeDirectory());
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    environment.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("tarnwick.watching.debug=true"));
    environment.insert(QStringLiteral("TARNWICK_TEST_DELAY_DIVISOR"), QString::number(TestSandbox::kDelayDivisor));
    // Only crashes matter here; leaks are the in-process tests' business.
    environment.insert(QStringLiteral("ASAN_OPTIONS"), QStringLiteral("detect_leaks=0:abort_on_error=1"));
    m_helper.setProcessEnvironment(environment);
    m_helper.start(command.takeFirst(), command);
    QVERIFY(m_helper.waitForStarted(kTimeoutMs));
    QTRY_VERIFY_WITH_TIMEOUT(logged(QStringLiteral("Tarnwick Helper is watching")), kTimeoutMs);
}

// The helper quits cleanly on SIGTERM: it neither crashed nor hung meanwhile.
void tst_AgentFaults::cleanupTestCase()
{
    if (m_helper.state() != QProcess::Running)
        return;
    ::kill(pid_t(m_helper.processId()), SIGTERM);
    QVERIFY(m_helper.waitForFinished(kTimeoutMs));
    QCOMPARE(m_helper.exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_helper.exitCode(), 0);
}

// A folder the helper cannot list, an application it cannot open, a FIFO and a
// dangling link named like applications: none is reported, none stops the helper.
// Once the closed folder has been searched, a plain application still is reported.
void tst_AgentFaults::passesOverWhatItCannotRead()
{
    makeApp(staged(QStringLiteral("Closed/Inside.app")));
    QVERIFY(::chmod(QFile::encodeName(staged(QStringLiteral("Closed"))).constData(), 0) == 0);
    makeApp(staged(QStringLiteral("Sealed.app")));
    QVERIFY(::chmod(QFile::encodeName(staged(QStringLiteral("Sealed.app"))).constData(), 0) == 0);
    QVERIFY(moveToTrash(QStringLiteral("Closed")));
    QVERIFY(moveToTrash(QStringLiteral("Sealed.app")));
    const QString fifo = trash() + QStringLiteral("/Pipe.app");
    QVERIFY(::mkfifo(QFile::encodeName(fifo).constData(), 0600) == 0);
    handOver(fifo);
    QVERIFY(QFile::link(m_sandbox->path(QStringLiteral("nowhere")), trash() + QStringLiteral("/Dangling.app")));
    handOver(trash() + QStringLiteral("/Dangling.app"));

    QTRY_VERIFY_WITH_TIMEOUT(logged(QStringLiteral("searching folder ") + trash() + QStringLiteral("/Closed")), kTimeoutMs);
    makeApp(staged(QStringLiteral("Sentinel.app")));
    QVERIFY(moveToTrash(QStringLiteral("Sentinel.app")));
    QTRY_VERIFY_WITH_TIMEOUT(logged(QStringLiteral(": reported: ") + trash() + QStringLiteral("/Sentinel.app")), kTimeoutMs);
    QVERIFY2(m_log.count(QStringLiteral(": reported: ")) == 1, qPrintable(m_log));
    QCOMPARE(m_helper.state(), QProcess::Running);
}

void tst_AgentFaults::keepsWorkingWhenItsTrashIsDeletedAndMadeAgain()
{
    const QString trashRoot = QFileInfo(trash()).path();
    QVERIFY(QDir(trashRoot).removeRecursively());
    // Once the helper has heard of the deletion, the folder made again is new to it.
    QTRY_VERIFY_WITH_TIMEOUT(logged(QStringLiteral("change VDKQueueFileDeletedNotification")), kTimeoutMs);
    // As a file manager does on its next deletion.
    QVERIFY(QDir().mkpath(trash()) && QDir().mkpath(trashRoot + QStringLiteral("/info")));
    handOver(trashRoot);
    // A refresh still pending from the deletion may find the first arrival; only a
    // watch on the new folder finds the second.
    for (const QString &name : {QStringLiteral("After.app"), QStringLiteral("AfterAgain.app")}) {
        makeApp(staged(name));
        QVERIFY(moveToTrash(name));
        QTRY_VERIFY_WITH_TIMEOUT(logged(QStringLiteral(": reported: ") + trash() + QLatin1Char('/') + name), kTimeoutMs);
    }
    QCOMPARE(m_helper.state(), QProcess::Running);
}

QTEST_GUILESS_MAIN(tst_AgentFaults)
#include "tst_AgentFaults.moc"
