#include "DesktopNotifier.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QVariantMap>

namespace {

const QString kService = QStringLiteral("org.freedesktop.Notifications");
const QString kPath = QStringLiteral("/org/freedesktop/Notifications");
const QString kInterface = QStringLiteral("org.freedesktop.Notifications");

bool hasSessionBus()
{
    return !qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS") && QDBusConnection::sessionBus().isConnected();
}

QDBusMessage call(const QString &method, const QVariantList &arguments)
{
    QDBusMessage message = QDBusMessage::createMethodCall(kService, kPath, kInterface, method);
    message.setArguments(arguments);
    return QDBusConnection::sessionBus().call(message, QDBus::Block, int(DesktopNotifier::kCallTimeout.count()));
}

} // namespace

DesktopNotifier::DesktopNotifier(QObject *parent)
    : QObject(parent)
{
}

// The signals are heard before the first notification goes out, so that an answer
// cannot come before the connection.
bool DesktopNotifier::listen()
{
    if (m_listening)
        return true;
    QDBusConnection bus = QDBusConnection::sessionBus();
    m_listening = bus.connect(kService, kPath, kInterface, QStringLiteral("ActionInvoked"), this,
                              SLOT(onActionInvoked(uint, QString))) &&
                  bus.connect(kService, kPath, kInterface, QStringLiteral("NotificationClosed"), this,
                              SLOT(onNotificationClosed(uint, uint)));
    return m_listening;
}

bool DesktopNotifier::show(const QString &summary, const QString &body, const QStringList &actions,
                           std::chrono::milliseconds expiry)
{
    if (!hasSessionBus() || !listen())
        return false;
    const QVariantMap hints{{QStringLiteral("desktop-entry"), QStringLiteral("com.corbelle.TarnwickS")}};
    const QDBusReply<uint> reply = call(QStringLiteral("Notify"), {QStringLiteral("Tarnwick"), m_id, QStringLiteral("user-trash-full"),
                                                                  summary, body, actions, hints, int(expiry.count())});
    if (!reply.isValid())
        return false;
    m_id = reply.value();
    return true;
}

void DesktopNotifier::close()
{
    if (m_id != 0)
        call(QStringLiteral("CloseNotification"), {std::exchange(m_id, 0u)});
}

void DesktopNotifier::onActionInvoked(uint id, const QString &key)
{
    if (id == m_id && m_id != 0)
        Q_EMIT actionInvoked(key);
}

void DesktopNotifier::onNotificationClosed(uint id, uint)
{
    if (id == m_id && m_id != 0) {
        m_id = 0;
        Q_EMIT closed();
    }
}
