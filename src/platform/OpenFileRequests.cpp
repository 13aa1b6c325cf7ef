#include "OpenFileRequests.h"

#include "BundleIdentifiers.h"
#include "TemporaryDirectory.h"

#include <QDataStream>
#include <QLocalServer>
#include <QLocalSocket>

#include <memory>
#include <optional>

#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kMaxFiles = 10000;
constexpr char kAccepted = 'A';

QByteArray encode(const QStringList &files)
{
    QByteArray payload;
    QDataStream out(&payload, QIODevice::WriteOnly);
    out << files;
    QByteArray frame;
    QDataStream(&frame, QIODevice::WriteOnly) << quint32(payload.size());
    return frame + payload;
}

// The files of a complete request, or nothing while it is incomplete or when it is
// malformed (then *malformed is set).
std::optional<QStringList> decode(const QByteArray &buffer, bool *malformed)
{
    *malformed = false;
    if (buffer.size() < 4)
        return std::nullopt;
    quint32 length = 0;
    QDataStream(buffer.left(4)) >> length;
    if (length > OpenFileRequests::kMaxRequestBytes) {
        *malformed = true;
        return std::nullopt;
    }
    if (buffer.size() < 4 + qsizetype(length))
        return std::nullopt;
    QDataStream in(buffer.mid(4, length));
    QStringList files;
    in >> files;
    if (in.status() != QDataStream::Ok || files.size() > kMaxFiles) {
        *malformed = true;
        return std::nullopt;
    }
    return files;
}

} // namespace

OpenFileRequests::OpenFileRequests(QObject *parent)
    : QObject(parent)
    , m_server(new QLocalServer(this))
{
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    connect(m_server, &QLocalServer::newConnection, this, &OpenFileRequests::onNewConnection);
}

OpenFileRequests::~OpenFileRequests() = default;

QString OpenFileRequests::socketPath()
{
    const QString runtime = TemporaryDirectory::path();
    return runtime.isEmpty() ? QString() : runtime + QLatin1Char('/') + BundleIdentifiers::helper() + QStringLiteral(".socket");
}

bool OpenFileRequests::listen()
{
    const QString path = socketPath();
    if (path.isEmpty())
        return false;
    // Listening replaces whatever is at the path, so ask first whether a live
    // instance answers there; a socket file left by one that died does not.
    QLocalSocket probe;
    probe.connectToServer(path);
    if (probe.waitForConnected(1000))
        return false;
    QLocalServer::removeServer(path);
    return m_server->listen(path);
}

bool OpenFileRequests::sendToRunningInstance(const QStringList &files, int timeoutMs)
{
    const QString path = socketPath();
    if (path.isEmpty())
        return false;
    QLocalSocket socket;
    socket.connectToServer(path);
    if (!socket.waitForConnected(timeoutMs))
        return false;
    socket.write(encode(files));
    if (!socket.waitForBytesWritten(timeoutMs))
        return false;
    while (socket.bytesAvailable() < 1) {
        if (!socket.waitForReadyRead(timeoutMs))
            return false;
    }
    return socket.read(1) == QByteArray(1, kAccepted);
}

bool OpenFileRequests::isPeerOfSameUser(const QLocalSocket &socket)
{
    ucred peer{};
    socklen_t size = sizeof peer;
    const int fd = static_cast<int>(socket.socketDescriptor());
    return fd >= 0 && ::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == ::geteuid();
}

void OpenFileRequests::onNewConnection()
{
    while (QLocalSocket *socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        if (!isPeerOfSameUser(*socket)) {
            socket->abort();
            continue;
        }
        auto buffer = std::make_shared<QByteArray>();
        connect(socket, &QLocalSocket::readyRead, this, [this, socket, buffer] { serve(socket, *buffer); });
        serve(socket, *buffer);
    }
}

void OpenFileRequests::serve(QLocalSocket *socket, QByteArray &buffer)
{
    buffer += socket->readAll();
    bool malformed = false;
    const auto files = decode(buffer, &malformed);
    if (malformed) {
        socket->abort();
        return;
    }
    if (!files)
        return;
    // One request per connection; whatever follows it is ignored.
    disconnect(socket, &QLocalSocket::readyRead, this, nullptr);
    buffer.clear();
    socket->write(QByteArray(1, kAccepted));
    socket->flush();
    Q_EMIT filesOpened(*files);
}
