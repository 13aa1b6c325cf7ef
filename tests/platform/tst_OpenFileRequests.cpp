#include "TestSandbox.h"
#include "platform/OpenFileRequests.h"

#include <QFile>
#include <QLocalSocket>
#include <QSignalSpy>
#include <QTest>

#include <atomic>
#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

class tst_OpenFileRequests : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox.emplace(); }

    void handsFilesToTheRunningInstance()
    {
        QVERIFY(!OpenFileRequests::sendToRunningInstance({"/x"}, 200));
        OpenFileRequests server;
        QVERIFY(server.listen());
        QCOMPARE(OpenFileRequests::socketPath(), m_sandbox->runtimeDirectory() + "/com.corbelle.Tarnwick-HelperS.socket");
        QSignalSpy opened(&server, &OpenFileRequests::filesOpened);
        const QStringList files{"/tmp/a b.msgfortwhelp", "/tmp/line\nbreak"};
        std::atomic<int> accepted{-1};
        std::thread client([&] { accepted = OpenFileRequests::sendToRunningInstance(files) ? 1 : 0; });
        QTRY_COMPARE_WITH_TIMEOUT(accepted.load(), 1, 10000);
        client.join();
        QCOMPARE(opened.size(), 1);
        QCOMPARE(opened.first().first().toStringList(), files);
    }

    void oneInstancePerUserAndStaleSocketsReplaced()
    {
        {
            OpenFileRequests first;
            QVERIFY(first.listen());
            QVERIFY(!OpenFileRequests().listen());
        }
        // A socket file nobody serves any more (as after a crash) is taken over.
        QFile(OpenFileRequests::socketPath()).open(QIODevice::WriteOnly);
        QVERIFY(QFile::exists(OpenFileRequests::socketPath()));
        QVERIFY(OpenFileRequests().listen());
    }

    void dropsOversizedRequests()
    {
        OpenFileRequests server;
        QVERIFY(server.listen());
        QSignalSpy opened(&server, &OpenFileRequests::filesOpened);
        std::atomic<bool> closed{false};
        std::thread client([&] {
            QLocalSocket socket;
            socket.connectToServer(OpenFileRequests::socketPath());
            if (!socket.waitForConnected(5000))
                return;
            socket.write(QByteArray("\x7f\xff\xff\xff", 4) + QByteArray(64, 'x'));
            socket.waitForBytesWritten(5000);
            closed = !socket.waitForReadyRead(5000) && socket.state() != QLocalSocket::ConnectedState;
        });
        QTRY_VERIFY_WITH_TIMEOUT(closed.load(), 10000);
        client.join();
        QCOMPARE(opened.size(), 0);
    }

    // Even with the socket and the folders above it open to everybody, a child running
    // as another user is refused.
    void refusesPeersOfAnotherUser()
    {
        if (::geteuid() != 0)
            QSKIP("needs to act as another user");
        OpenFileRequests server;
        QVERIFY(server.listen());
        QSignalSpy opened(&server, &OpenFileRequests::filesOpened);
        const QByteArray path = QFile::encodeName(OpenFileRequests::socketPath());
        const QByteArray runtime = QFile::encodeName(m_sandbox->runtimeDirectory());
        const QByteArray root = QFile::encodeName(QFileInfo(m_sandbox->runtimeDirectory()).absolutePath());
        ::chmod(path.constData(), 0777);
        ::chmod(runtime.constData(), 0755);
        ::chmod(root.constData(), 0755);
        const pid_t child = ::fork();
        if (child == 0) {
            if (::setgid(65534) != 0 || ::setuid(65534) != 0)
                ::_exit(3);
            const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
            sockaddr_un address{};
            address.sun_family = AF_UNIX;
            std::strncpy(address.sun_path, path.constData(), sizeof address.sun_path - 1);
            if (::connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0)
                ::_exit(4); // the test could not reach the server at all
            const char request[] = {0, 0, 0, 4, 0, 0, 0, 0};
            [[maybe_unused]] auto sent = ::write(fd, request, sizeof request);
            char reply = 0;
            ::_exit(::read(fd, &reply, 1) == 1 ? 1 : 0);
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
    std::optional<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_OpenFileRequests)
#include "tst_OpenFileRequests.moc"
