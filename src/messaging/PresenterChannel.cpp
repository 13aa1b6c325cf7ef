#include "PresenterChannel.h"

#include "MessagingLog.h"

#include <QJsonDocument>
#include <QSocketNotifier>

#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr qsizetype kReadChunk = 64 * 1024;

} // namespace

PresenterChannel::PresenterChannel(int descriptor, QObject *parent)
    : QObject(parent)
    , m_descriptor(descriptor)
{
    const int flags = ::fcntl(descriptor, F_GETFL);
    if (descriptor < 0 || flags < 0 || ::fcntl(descriptor, F_SETFL, flags | O_NONBLOCK) < 0) {
        close();
        return;
    }
    m_reader = new QSocketNotifier(descriptor, QSocketNotifier::Read, this);
    connect(m_reader, &QSocketNotifier::activated, this, &PresenterChannel::readAvailable);
    m_writer = new QSocketNotifier(descriptor, QSocketNotifier::Write, this);
    m_writer->setEnabled(false);
    connect(m_writer, &QSocketNotifier::activated, this, &PresenterChannel::flush);
}

PresenterChannel::~PresenterChannel()
{
    delete m_reader;
    delete m_writer;
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

bool PresenterChannel::createPair(int (&descriptors)[2])
{
    return ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, descriptors) == 0;
}

void PresenterChannel::send(const QJsonObject &message)
{
    if (!isOpen())
        return;
    m_out += QJsonDocument(message).toJson(QJsonDocument::Compact) + '\n';
    flush();
}

bool PresenterChannel::isOpen() const
{
    return m_descriptor >= 0;
}

// Called by the owner, on the end of the stream or on a broken message; the
// descriptor is closed at once, so nothing more is read or written.
void PresenterChannel::close()
{
    const bool wasOpen = isOpen();
    delete m_reader;
    delete m_writer;
    m_reader = m_writer = nullptr;
    if (m_descriptor >= 0)
        ::close(m_descriptor);
    m_descriptor = -1;
    m_in.clear();
    m_out.clear();
    if (wasOpen)
        Q_EMIT closed();
}

void PresenterChannel::flush()
{
    while (isOpen() && !m_out.isEmpty()) {
        const ssize_t written = ::send(m_descriptor, m_out.constData(), size_t(m_out.size()), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (written < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR))
            break;
        if (written < 0) {
            close();
            return;
        }
        m_out.remove(0, written);
    }
    if (m_writer)
        m_writer->setEnabled(!m_out.isEmpty());
}

// Reads what is there, never more than one line's limit beyond the lines it holds.
void PresenterChannel::readAvailable()
{
    while (isOpen()) {
        const qsizetype held = m_in.size();
        m_in.resize(held + kReadChunk);
        const ssize_t got = ::read(m_descriptor, m_in.data() + held, size_t(kReadChunk));
        m_in.resize(held + std::max<ssize_t>(got, 0));
        if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR))
            return;
        if (got <= 0) {
            close();
            return;
        }
        readLines();
    }
}

void PresenterChannel::readLines()
{
    qsizetype start = 0;
    for (qsizetype end = m_in.indexOf('\n'); isOpen() && end >= 0; end = m_in.indexOf('\n', start)) {
        const QJsonDocument document = end - start <= kMaxLineBytes ? QJsonDocument::fromJson(m_in.mid(start, end - start))
                                                                     : QJsonDocument();
        start = end + 1;
        if (!document.isObject()) {
            qCWarning(lcMessaging) << "closing the presenter line: a message that is not one";
            close();
            return;
        }
        Q_EMIT received(document.object());
    }
    if (!isOpen())
        return;
    m_in.remove(0, start);
    if (m_in.size() > kMaxLineBytes) {
        qCWarning(lcMessaging) << "closing the presenter line: a message too long";
        close();
    }
}
