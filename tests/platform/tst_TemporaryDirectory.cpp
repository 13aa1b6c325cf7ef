#include "TestSandbox.h"
#include "platform/OpenFileRequests.h"
#include "platform/TemporaryDirectory.h"
#include "platform/TrashLocation.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTest>

#include <cerrno>
#include <cstring>
#include <future>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Sends raw bytes as a plain client: 1 when the server answered, 0 when it dropped the
// connection, -1 when it kept silent for 5 s, -2 when it could not be reached.
int request(const QByteArray &bytes, const QByteArray &socket = QFile::encodeName(OpenFileRequests::socketPath()))
{
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{AF_UNIX, {}};
    std::strncpy(address.sun_path, socket.constData(), sizeof address.sun_path - 1);
    const timeval patience{5, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    if (::connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0)
        return -2;
    char reply = 0;
    const ssize_t read = ::write(fd, bytes.constData(), bytes.size()) == bytes.size() ? ::read(fd, &reply, 1) : -1;
    const int answer = read == 1 ? 1 : read == 0 || errno == ECONNRESET ? 0 : -1;
    ::close(fd);
    return answer;
}

// Runs a blocking client on a thread of its own while this one serves it.
template <typename Client> auto served(Client client)
{
    auto result = std::async(std::launch::async, client);
    [&] { QTRY_VERIFY_WITH_TIMEOUT(result.wait_for(std::chrono::seconds(0)) == std::future_status::ready, 10000); }();
    return result.get();
}

} // namespace

// The user's private places: folders in the runtime directory, the Trash made for a new
// account, and the local socket through which a second start hands files to the agent.
class tst_TemporaryDirectory : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox.emplace(); }

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

    // A later start hands its files to the running agent (end to end in
    // tst_HelperCommandLine); here the edges: a socket file left by a crash is taken
    // over, one server per user, names with spaces and line breaks arrive whole, and a
    // request claiming more bytes than allowed is dropped with its connection.
    void handsFilesToTheRunningInstance()
    {
        QVERIFY(!OpenFileRequests::sendToRunningInstance({"/x"}, 200));
        QVERIFY(QFile(OpenFileRequests::socketPath()).open(QIODevice::WriteOnly));
        OpenFileRequests server;
        QVERIFY(server.listen() && !OpenFileRequests().listen());
        QCOMPARE(OpenFileRequests::socketPath(), TemporaryDirectory::path() + "/com.corbelle.Tarnwick-HelperS.socket");
        QSignalSpy opened(&server, &OpenFileRequests::filesOpened);
        const QStringList files{"/tmp/a b.msgfortwhelp", "/tmp/line\nbreak"};
        QCOMPARE(served([&] { return OpenFileRequests::sendToRunningInstance(files); }), true);
        QCOMPARE(opened.size(), 1);
        QCOMPARE(opened.first().first().toStringList(), files);
        QCOMPARE(served([] { return request(QByteArray("\x7f\xff\xff\xff", 4) + QByteArray(64, 'x')); }), 0);
        QCOMPARE(opened.size(), 1);
    }

    // Even with the socket and the folders above it open to everybody, a child running
    // as another user is refused.
    void refusesSocketPeersOfAnotherUser()
    {
        if (::geteuid() != 0)
            QSKIP("needs to act as another user");
        OpenFileRequests server;
        QVERIFY(server.listen());
        QSignalSpy opened(&server, &OpenFileRequests::filesOpened);
        const QByteArray runtime = QFile::encodeName(m_sandbox->runtimeDirectory());
        const QByteArray root = QFile::encodeName(QFileInfo(m_sandbox->runtimeDirectory()).absolutePath());
        const QByteArray socket = QFile::encodeName(OpenFileRequests::socketPath());
        ::chmod(socket.constData(), 0777);
        ::chmod(runtime.constData(), 0755);
        ::chmod(root.constData(), 0755);
        const pid_t child = ::fork();
        if (child == 0) {
            if (::setgid(65534) != 0 || ::setuid(65534) != 0)
                ::_exit(3);
            const int reply = request(QByteArray("\0\0\0\4\0\0\0\0", 8), socket);
            ::_exit(reply == -2 ? 4 : reply == 1); // 4: the test could not reach the server at all
        }
        int status = -1;
        bool reaped = false;
        QTRY_VERIFY_WITH_TIMEOUT(reaped = reaped || ::waitpid(child, &status, WNOHANG) == child, 10000);
        ::chmod(runtime.constData(), 0700);
        ::chmod(root.constData(), 0700);
        QVERIFY(WIFEXITED(status));
        QCOMPARE(WEXITSTATUS(status), 0);
        QCOMPARE(opened.size(), 0);
    }

private:
    static mode_t modeOf(const QString &path)
    {
        struct stat status {};
        ::lstat(QFile::encodeName(path).constData(), &status);
        return status.st_mode & 07777;
    }

    std::optional<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_TemporaryDirectory)
#include "tst_TemporaryDirectory.moc"
