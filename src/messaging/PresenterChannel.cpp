#include "PresenterChannel.h"

#include "MessagingLog.h"

#include <QJsonDocument>
#include <QLocalSocket>

#include <sys/socket.h>
#include <unistd.h>

PresenterChannel::PresenterChannel(int descriptor, QObject *parent)
    : QObject(parent)
    , m_socket(new QLocalSocket(this))
{
    if (!m_socket->setSocketDescriptor(descriptor)) {
        ::close(descriptor);
        m_closed = true;
        return;
    }
    connect(m_socket, &QLocalSocket::readyRead, this, &PresenterChannel::readLines);
    connect(m_socket, &QLocalSocket::disconnected, this, &PresenterChannel::close);
}

PresenterChannel::~PresenterChannel()
{
    m_socket->disconnect(this);
}

bool PresenterChannel::createPair(int (&descriptors)[2])
{
    return ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, descriptors) == 0;
}

void PresenterChannel::send(const QJsonObject &message)
{
    if (!isOpen())
        return;
    m_socket->write(QJsonDocument(message).toJson(QJsonDocument::Compact) + '\n');
}

bool PresenterChannel::isOpen() const
{
    return !m_closed;
}

void PresenterChannel::close()
{
    if (m_closed)
        return;
    m_closed = true;
    m_socket->abort();
    Q_EMIT closed();
}

void PresenterChannel::readLines()
{
    while (isOpen() && m_socket->canReadLine()) {
        const QByteArray line = m_socket->readLine(kMaxLineBytes + 1);
        const QJsonDocument document = QJsonDocument::fromJson(line);
        if (!line.endsWith('\n') || !document.isObject()) {
            qCWarning(lcMessaging) << "closing the presenter line: a message that is not one";
            close();
            return;
        }
        Q_EMIT received(document.object());
    }
    if (isOpen() && m_socket->bytesAvailable() > kMaxLineBytes) {
        qCWarning(lcMessaging) << "closing the presenter line: a message too long";
        close();
    }
}
