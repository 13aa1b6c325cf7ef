#include "OpenFilePeer.h"

#include <QDataStream>
#include <QIODevice>
#include <QSocketNotifier>
#include <QtEndian>

#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>

OpenFilePeer::OpenFilePeer(int descriptor, std::chrono::milliseconds timeLimit, QObject *parent)
    : QObject(parent)
    , m_descriptor(descriptor)
    , m_notifier(new QSocketNotifier(descriptor, QSocketNotifier::Read, this))
{
    connect(m_notifier, &QSocketNotifier::activated, this, &OpenFilePeer::readAvailable);
    m_timeLimit.setSingleShot(true);
    connect(&m_timeLimit, &QTimer::timeout, this, &OpenFilePeer::finish);
    m_timeLimit.start(timeLimit);
}

OpenFilePeer::~OpenFilePeer()
{
    m_notifier->setEnabled(false);
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

QByteArray OpenFilePeer::encode(const QStringList &files)
{
    QByteArray body;
    QDataStream out(&body, QIODevice::WriteOnly);
    out << files;
    QByteArray request(kLengthBytes, '\0');
    qToBigEndian(quint32(body.size()), request.data());
    return request + body;
}

// QDataStream's own list reader reserves room for as many names as the count claims,
// 48 GB for a count of 2^31; the count is checked against the bytes there are first.
std::optional<QStringList> OpenFilePeer::decode(const QByteArray &body)
{
    QDataStream in(body);
    quint32 count = 0;
    in >> count;
    if (in.status() != QDataStream::Ok || count > kMaxFiles || count > quint32(body.size() / 4))
        return std::nullopt;
    QStringList files;
    for (quint32 i = 0; i < count; ++i) {
        QString file;
        in >> file;
        files.append(file);
    }
    if (in.status() != QDataStream::Ok || !in.atEnd())
        return std::nullopt;
    return files;
}

void OpenFilePeer::readAvailable()
{
    if (!fill())
        return finish();
    if (m_buffer.size() < m_needed)
        return; // the rest comes later
    if (m_lengthRead)
        return answer();
    m_lengthRead = true;
    const quint32 length = qFromBigEndian<quint32>(m_buffer.constData());
    if (length > kMaxRequestBytes)
        return finish();
    m_needed += length;
    readAvailable(); // the body may be there already
}

bool OpenFilePeer::fill()
{
    while (m_buffer.size() < m_needed) {
        char chunk[16 * 1024];
        const size_t wanted = size_t(std::min<qsizetype>(qsizetype(sizeof chunk), m_needed - m_buffer.size()));
        const ssize_t count = ::read(m_descriptor, chunk, wanted);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return true;
        if (count <= 0)
            return false;
        m_buffer.append(chunk, count);
    }
    return true;
}

void OpenFilePeer::answer()
{
    const auto files = decode(m_buffer.sliced(kLengthBytes));
    if (files) {
        // The peer waits for this byte; one that left already gets no signal.
        [[maybe_unused]] const ssize_t sent = ::send(m_descriptor, &kAccepted, 1, MSG_NOSIGNAL | MSG_DONTWAIT);
        Q_EMIT filesReceived(*files);
    }
    finish();
}

void OpenFilePeer::finish()
{
    if (m_descriptor < 0)
        return;
    m_timeLimit.stop();
    m_notifier->setEnabled(false);
    ::close(m_descriptor);
    m_descriptor = -1;
    m_buffer = QByteArray();
    Q_EMIT finished();
}
