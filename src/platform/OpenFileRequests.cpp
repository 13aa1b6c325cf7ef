#include "OpenFileRequests.h"

#include "BundleIdentifiers.h"
#include "Delays.h"
#include "InstanceLock.h"
#include "KernelEventQueue.h"
#include "OpenFilePeer.h"
#include "PathCodec.h"
#include "ScopedDescriptor.h"
#include "TemporaryDirectory.h"

#include <QFileInfo>
#include <QSocketNotifier>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

QString runtimeFile(const QString &suffix)
{
    const QString runtime = TemporaryDirectory::path();
    return runtime.isEmpty() ? QString() : runtime + QLatin1Char('/') + BundleIdentifiers::helper() + suffix;
}

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

// The local socket address of the path; none when the path does not fit.
std::optional<sockaddr_un> socketAddress(const QByteArray &path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.isEmpty() || size_t(path.size()) >= sizeof(address.sun_path))
        return std::nullopt;
    std::memcpy(address.sun_path, path.constData(), size_t(path.size()));
    return address;
}

// A connected socket whose connect, sends and receive each give up after the time.
ScopedDescriptor connectToAgent(int timeoutMs)
{
    const std::optional<sockaddr_un> address = socketAddress(PathCodec::encode(OpenFileRequests::socketPath()));
    if (!address)
        return {};
    ScopedDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const timeval limit{timeoutMs / 1000, (timeoutMs % 1000) * 1000};
    if (!socket.isValid() || ::setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) != 0 ||
        ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) != 0 ||
        ::connect(socket.get(), reinterpret_cast<const sockaddr *>(&*address), sizeof *address) != 0)
        return {};
    return socket;
}

// One request on a connection of its own: the files go out, one byte comes back.
bool sendRequest(const QStringList &files, int timeoutMs)
{
    const ScopedDescriptor socket = connectToAgent(timeoutMs);
    if (!socket.isValid())
        return false;
    const QByteArray request = OpenFilePeer::encode(files);
    for (qsizetype sent = 0; sent < request.size();) {
        const ssize_t written = ::send(socket.get(), request.constData() + sent, size_t(request.size() - sent), MSG_NOSIGNAL);
        if (written <= 0)
            return false;
        sent += written;
    }
    char answer = 0;
    return ::recv(socket.get(), &answer, 1, 0) == 1 && answer == OpenFilePeer::kAccepted;
}

// The files in runs that each fit one request (at least one run, maybe empty).
QList<QStringList> batchesOf(const QStringList &files)
{
    QList<QStringList> batches{{}};
    qint64 bytes = 4; // the count
    for (const QString &file : files) {
        const qint64 size = 4 + 2 * qint64(file.size());
        if (!batches.last().isEmpty() && (bytes + size > OpenFilePeer::kMaxRequestBytes ||
                                          batches.last().size() >= qsizetype(OpenFilePeer::kMaxFiles))) {
            batches.append(QStringList());
            bytes = 4;
        }
        batches.last().append(file);
        bytes += size;
    }
    return batches;
}

} // namespace

OpenFileRequests::OpenFileRequests(QObject *parent)
    : QObject(parent)
    , m_folderEvents(KernelEventQueue::create())
{
    if (m_folderEvents) {
        auto *notifier = new QSocketNotifier(m_folderEvents->descriptor(), QSocketNotifier::Read, this);
        connect(notifier, &QSocketNotifier::activated, this, [this] {
            m_folderEvents->wait(std::chrono::milliseconds(0)); // takes the events
            checkSocket();
        });
    }
    m_retry.setSingleShot(true);
    m_retry.setInterval(Delays::scaled(Delays::kSocketRetry));
    connect(&m_retry, &QTimer::timeout, this, [this] {
        checkSocket();
        if (m_acceptor)
            m_acceptor->setEnabled(m_peers < kMaxPeers);
    });
}

OpenFileRequests::~OpenFileRequests()
{
    // A clean end leaves no socket file behind; the lock goes with the descriptor.
    if (isSocketInPlace())
        ::unlink(PathCodec::encode(m_socketPath).constData());
    closeSocket();
}

QString OpenFileRequests::socketPath()
{
    return runtimeFile(QStringLiteral(".socket"));
}

QString OpenFileRequests::lockPath()
{
    return runtimeFile(QStringLiteral(".lock"));
}

bool OpenFileRequests::listen(InstanceLock &lock)
{
    m_lock = &lock;
    // Kept: the runtime directory Qt names may change with its permissions.
    m_socketPath = socketPath();
    if (m_socketPath.isEmpty()) {
        m_error = QStringLiteral("there is no runtime directory (XDG_RUNTIME_DIR) for the agent's socket");
        return false;
    }
    return createSocket();
}

bool OpenFileRequests::sendToRunningInstance(const QStringList &files, int timeoutMs)
{
    if (socketPath().isEmpty())
        return false;
    const QList<QStringList> batches = batchesOf(files);
    return std::all_of(batches.cbegin(), batches.cend(),
                       [timeoutMs](const QStringList &batch) { return sendRequest(batch, timeoutMs); });
}

bool OpenFileRequests::isPeerOfSameUser(int descriptor)
{
    ucred peer{};
    socklen_t size = sizeof peer;
    return descriptor >= 0 && ::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           peer.uid == ::geteuid();
}

// This process holds the lock, so whatever sits at the socket's path is a leftover
// (of an agent that crashed) and is replaced.
bool OpenFileRequests::createSocket()
{
    closeSocket();
    const QString &name = m_socketPath;
    const QByteArray path = PathCodec::encode(name);
    const std::optional<sockaddr_un> address = socketAddress(path);
    if (!address) {
        m_error = QStringLiteral("the socket path %1 is %2 bytes long, more than a local socket allows (%3)")
                      .arg(name)
                      .arg(path.size())
                      .arg(sizeof address->sun_path - 1);
        return false;
    }
    ScopedDescriptor listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    ::unlink(path.constData());
    struct stat status {};
    if (listener.get() < 0 || ::bind(listener.get(), reinterpret_cast<const sockaddr *>(&*address), sizeof *address) != 0 ||
        ::chmod(path.constData(), 0600) != 0 || ::listen(listener.get(), SOMAXCONN) != 0 ||
        ::lstat(path.constData(), &status) != 0) {
        m_error = QStringLiteral("cannot listen on %1: %2").arg(name, systemError());
        return false;
    }
    m_socketDevice = status.st_dev;
    m_socketInode = status.st_ino;
    m_listener = listener.release();
    m_acceptor = new QSocketNotifier(m_listener, QSocketNotifier::Read, this);
    connect(m_acceptor, &QSocketNotifier::activated, this, &OpenFileRequests::acceptPending);
    // Again each time, as the runtime directory itself may have been made anew.
    watchFolder();
    return true;
}

void OpenFileRequests::watchFolder()
{
    if (!m_folderEvents)
        return;
    const int watch = m_folderEvents->addWatch(QFileInfo(m_socketPath).path());
    if (m_folderWatch >= 0)
        m_folderEvents->removeWatch(m_folderWatch);
    m_folderWatch = watch;
}

void OpenFileRequests::closeSocket()
{
    if (m_acceptor) {
        m_acceptor->setEnabled(false);
        delete m_acceptor;
        m_acceptor = nullptr;
    }
    if (m_listener >= 0)
        ::close(m_listener);
    m_listener = -1;
}

bool OpenFileRequests::isSocketInPlace() const
{
    struct stat status {};
    return m_listener >= 0 && ::lstat(PathCodec::encode(m_socketPath).constData(), &status) == 0 &&
           S_ISSOCK(status.st_mode) && status.st_dev == m_socketDevice && status.st_ino == m_socketInode;
}

void OpenFileRequests::acceptPending()
{
    while (m_peers < kMaxPeers) {
        const int descriptor = ::accept4(m_listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (descriptor < 0) {
            if (errno == EINTR || errno == ECONNABORTED)
                continue;
            if (errno != EAGAIN && errno != EWOULDBLOCK) {
                // Out of descriptors or memory: the peer stays in the backlog, and a
                // readable socket would wake the loop again at once.
                m_acceptor->setEnabled(false);
                retryLater();
            }
            return;
        }
        if (!isPeerOfSameUser(descriptor)) {
            ::close(descriptor);
            continue;
        }
        auto *peer = new OpenFilePeer(descriptor, Delays::scaled(Delays::kSocketPeerLimit), this);
        connect(peer, &OpenFilePeer::filesReceived, this, &OpenFileRequests::filesOpened);
        connect(peer, &OpenFilePeer::finished, this, &OpenFileRequests::onPeerFinished);
        ++m_peers;
    }
    // At the limit: the rest wait in the kernel's backlog until a peer is done.
    m_acceptor->setEnabled(false);
}

void OpenFileRequests::onPeerFinished()
{
    sender()->deleteLater();
    --m_peers;
    if (m_acceptor && !m_retry.isActive())
        m_acceptor->setEnabled(true);
}

// The runtime directory changed: the socket or the lock file may be gone.
void OpenFileRequests::checkSocket()
{
    if (!m_lock)
        return;
    switch (m_lock->reassert()) {
    case InstanceLock::State::HeldElsewhere:
        closeSocket();
        m_lock = nullptr;
        Q_EMIT instanceLost();
        return;
    case InstanceLock::State::Failed:
        return retryLater();
    case InstanceLock::State::Acquired:
        break;
    }
    if (!isSocketInPlace() && !createSocket())
        retryLater();
}

void OpenFileRequests::retryLater()
{
    if (!m_retry.isActive())
        m_retry.start();
}
