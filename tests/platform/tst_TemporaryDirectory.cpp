#include "TestSandbox.h"
#include "platform/Delays.h"
#include "platform/InstanceLock.h"
#include "platform/OpenFilePeer.h"
#include "platform/OpenFileRequests.h"
#include "platform/TemporaryDirectory.h"
#include "platform/TrashLocation.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTest>
#include <QtEndian>

#include <cstring>
#include <fcntl.h>
#include <future>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

using Lock = InstanceLock::State;

// A plain client connected to the socket, or -1.
int connectedClient(const QByteArray &socket = QFile::encodeName(OpenFileRequests::socketPath()))
{
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{AF_UNIX, {}};
    std::strncpy(address.sun_path, socket.constData(), sizeof address.sun_path - 1);
    const timeval patience{5, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    return ::connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0 ? fd : (::close(fd), -1);
}

// Sends the bytes on a connected client and reads until the server closes: 1 for the
// answer alone, 0 for no answer, -1 when the connection stayed open for 5 s.
int exchange(const QByteArray &bytes, int fd = connectedClient(), ssize_t *sent = nullptr)
{
    const ssize_t count = ::send(fd, bytes.constData(), size_t(bytes.size()), MSG_NOSIGNAL);
    if (sent)
        *sent = count;
    QByteArray reply;
    char byte = 0;
    ssize_t read = 0;
    while ((read = ::read(fd, &byte, 1)) == 1)
        reply += byte;
    ::close(fd);
    if (read < 0 && errno != ECONNRESET) // a peer closed with bytes unread resets the connection
        return -1;
    return reply.isEmpty() ? 0 : reply == QByteArray(1, OpenFilePeer::kAccepted) ? 1 : -2;
}

// Runs a blocking client on a thread of its own while this one serves it.
template <typename Client> auto served(Client client)
{
    auto result = std::async(std::launch::async, client);
    [&] { QTRY_VERIFY_WITH_TIMEOUT(result.wait_for(std::chrono::seconds(0)) == std::future_status::ready, 20000); }();
    return result.get();
}

QByteArray bigEndian(quint32 value)
{
    QByteArray bytes(4, '\0');
    qToBigEndian(value, bytes.data());
    return bytes;
}

QByteArray framed(const QByteArray &body) { return bigEndian(quint32(body.size())) + body; }

} // namespace

// The user's private places: folders in the runtime directory, the Trash made for a new
// account, and the agent's local socket: one agent per user, whole requests only, and a
// socket that stays open whatever its peers do.
class tst_TemporaryDirectory : public QObject
{
    Q_OBJECT
    std::optional<TestSandbox> m_sandbox;
    std::unique_ptr<InstanceLock> m_lock;
    std::unique_ptr<OpenFileRequests> m_server;

    static mode_t modeOf(const QString &path)
    {
        struct stat status {};
        ::lstat(QFile::encodeName(path).constData(), &status);
        return status.st_mode & 07777;
    }

private Q_SLOTS:
    // A socket file left by an agent that crashed is taken over. Peers have a second.
    void initTestCase()
    {
        m_sandbox.emplace();
        Delays::setTestDivisor(5);
        QVERIFY(QFile(OpenFileRequests::socketPath()).open(QIODevice::WriteOnly));
        m_lock = std::make_unique<InstanceLock>(OpenFileRequests::lockPath());
        m_server = std::make_unique<OpenFileRequests>();
        QVERIFY(m_lock->state() == Lock::Acquired && m_server->listen(*m_lock));
        QCOMPARE(OpenFileRequests::socketPath(), m_sandbox->runtimeDirectory() + "/com.corbelle.Tarnwick-HelperS.socket");
    }

    void makesPrivateFolders()
    {
        const QString folder = TemporaryDirectory::privateFolder("com.corbelle.Tarnwick-HelperS");
        QCOMPARE(folder, m_sandbox->runtimeDirectory() + "/com.corbelle.Tarnwick-HelperS");
        QCOMPARE(modeOf(folder), mode_t(0700));
        QCOMPARE(TemporaryDirectory::privateFolder("com.corbelle.Tarnwick-HelperS"), folder); // found again
        QVERIFY(TemporaryDirectory::privateFolder("../escape").isNull());
        QVERIFY(TemporaryDirectory::privateFolder(QString()).isNull());
        // A Trash made for a new account is private too.
        const QString home = m_sandbox->path("new-account");
        QVERIFY(QDir().mkpath(home));
        QCOMPARE(TrashLocation::ensureFilesDirectory(home), home + "/.local/share/Trash/files");
        for (const char *trash : {"/.local/share/Trash/files", "/.local/share/Trash/info", "/.local/share/Trash"})
            QCOMPARE(modeOf(home + trash), mode_t(0700));
        QVERIFY(TrashLocation::ensureFilesDirectory(QString()).isNull());
    }

    void refusesFoldersOthersControl()
    {
        const auto folder = [this](const char *name, mode_t mode, uid_t owner = ::geteuid()) {
            const QByteArray path = QFile::encodeName(m_sandbox->runtimeDirectory() + '/' + name);
            return ::mkdir(path.constData(), 0700) == 0 && ::chmod(path.constData(), mode) == 0 &&
                   ::chown(path.constData(), owner, gid_t(-1)) == 0;
        };
        QVERIFY(folder("open", 0777) && folder("group", 0770) && folder("target", 0700));
        // A link planted where the folder belongs is not followed, even to a good folder.
        QVERIFY(QFile::link(m_sandbox->runtimeDirectory() + "/target", m_sandbox->runtimeDirectory() + "/planted"));
        TestSandbox::makeFile(m_sandbox->runtimeDirectory() + "/plain-file");
        for (const char *name : {"open", "group", "planted", "plain-file"})
            QVERIFY2(TemporaryDirectory::privateFolder(name).isNull(), name);

        if (::geteuid() != 0)
            QSKIP("giving a folder to another user needs root");
        QVERIFY(folder("foreign", 0700, 65534) && TemporaryDirectory::privateFolder("foreign").isNull());
    }

    // A second lock is refused while the agent holds it, also once its file was deleted
    // (the agent takes the new one). Names with spaces and line breaks arrive whole; more
    // files than one request holds go in several.
    void handsFilesToTheAgentItLocked()
    {
        QCOMPARE(InstanceLock(OpenFileRequests::lockPath()).state(), Lock::HeldElsewhere);
        QVERIFY(QFile::remove(OpenFileRequests::lockPath()));
        QTRY_VERIFY(QFile::exists(OpenFileRequests::lockPath()));
        QCOMPARE(InstanceLock(OpenFileRequests::lockPath()).state(), Lock::HeldElsewhere);

        QSignalSpy opened(m_server.get(), &OpenFileRequests::filesOpened);
        const QStringList files{"/tmp/a b.msgfortwhelp", "/tmp/line\nbreak"};
        QCOMPARE(served([&] { return OpenFileRequests::sendToRunningInstance(files); }), true);
        QCOMPARE(opened.size(), 1);
        QCOMPARE(opened.first().first().toStringList(), files);
        const QStringList many(OpenFilePeer::kMaxFiles + 1, QString(100, 'x'));
        QCOMPARE(served([&] { return OpenFileRequests::sendToRunningInstance(many); }), true);
        QCOMPARE(opened.size(), 3);
    }

    void dropsMalformedRequests_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("length beyond the limit") << bigEndian(OpenFilePeer::kMaxRequestBytes + 1) + QByteArray(64, 'x');
        QTest::newRow("count beyond the bytes") << framed(bigEndian(0x7fffffff));
        QTest::newRow("count beyond the limit") << framed(bigEndian(OpenFilePeer::kMaxFiles + 1) + QByteArray(4 * (OpenFilePeer::kMaxFiles + 1), '\0'));
        QTest::newRow("name beyond the bytes") << framed(bigEndian(1) + bigEndian(16));
        QTest::newRow("bytes after the names") << framed(bigEndian(0) + "x");
        QTest::newRow("no count") << framed({});
        QTest::newRow("half a length, then silence") << QByteArray(2, '\0');
        QTest::newRow("silence") << QByteArray();
    }

    // Closed without an answer, and nothing reaches the agent.
    void dropsMalformedRequests()
    {
        QFETCH(QByteArray, bytes);
        QSignalSpy opened(m_server.get(), &OpenFileRequests::filesOpened);
        QCOMPARE(served([&] { return exchange(bytes); }), 0);
        QCOMPARE(opened.size(), 0);
    }

    // What follows a request is never read: the agent answers and closes at once, however
    // much more the peer sends. Silent peers are dropped after the time limit; beyond
    // kMaxPeers the others wait in the kernel's backlog and are served in turn.
    void boundsWhatPeersCost()
    {
        const QByteArray flood = framed(bigEndian(0)) + QByteArray(8 << 20, 'x');
        ssize_t sent = 0;
        QCOMPARE(served([&] { return exchange(flood, connectedClient(), &sent); }), 1);
        QVERIFY(sent < flood.size());
        std::vector<int> silent;
        for (int i = 0; i < OpenFileRequests::kMaxPeers + 8; ++i)
            silent.push_back(connectedClient());
        QTRY_COMPARE(m_server->peerCount(), OpenFileRequests::kMaxPeers);
        QCOMPARE(served([] { return OpenFileRequests::sendToRunningInstance({"/x"}); }), true);
        QTRY_COMPARE(m_server->peerCount(), 0);
        for (int fd : silent)
            QCOMPARE(exchange({}, fd), 0);
    }

    // With no descriptor left a failed accept leaves the socket open and is tried again;
    // a socket file that disappears is made again.
    void keepsListening()
    {
        const int client = connectedClient();
        rlimit limits{};
        QCOMPARE(::getrlimit(RLIMIT_NOFILE, &limits), 0);
        const int lowestFree = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        ::close(lowestFree);
        const rlimit exhausted{rlim_t(lowestFree), limits.rlim_max};
        QCOMPARE(::setrlimit(RLIMIT_NOFILE, &exhausted), 0);
        QTest::qWait(Delays::scaledMs(Delays::kSocketRetry) * 2); // accepts fail meanwhile
        QCOMPARE(::setrlimit(RLIMIT_NOFILE, &limits), 0);
        QCOMPARE(served([&] { return exchange(framed(bigEndian(0)), client); }), 1);

        QVERIFY(QFile::remove(OpenFileRequests::socketPath()));
        QTRY_VERIFY(QFileInfo(OpenFileRequests::socketPath()).exists());
        QCOMPARE(served([] { return OpenFileRequests::sendToRunningInstance({}); }), true);
    }

    // Even with the socket and the folders above it open to everybody, a peer that
    // connected as another user is refused.
    void refusesSocketPeersOfAnotherUser()
    {
        if (::geteuid() != 0)
            QSKIP("needs to act as another user");
        const QByteArray socket = QFile::encodeName(OpenFileRequests::socketPath());
        const QByteArrayList folders{QFile::encodeName(m_sandbox->runtimeDirectory()), QFile::encodeName(QFileInfo(m_sandbox->runtimeDirectory()).path())};
        for (const QByteArray &path : folders + QByteArrayList{socket})
            QCOMPARE(::chmod(path.constData(), 0777), 0);
        QVERIFY(::seteuid(65534) == 0);
        const int stranger = connectedClient(socket);
        QVERIFY(::seteuid(0) == 0 && stranger >= 0);
        for (const QByteArray &path : folders)
            ::chmod(path.constData(), 0700);
        QSignalSpy opened(m_server.get(), &OpenFileRequests::filesOpened);
        QCOMPARE(served([&] { return exchange(framed(bigEndian(0)), stranger); }), 0);
        QCOMPARE(opened.size(), 0);
    }
};

QTEST_GUILESS_MAIN(tst_TemporaryDirectory)
#include "tst_TemporaryDirectory.moc"
