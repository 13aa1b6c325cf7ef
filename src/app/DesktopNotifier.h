#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

#include <chrono>

// One desktop notification through the freedesktop notification service
// (org.freedesktop.Notifications on the session bus), with its actions.
//
// Without a session bus address in the environment nothing is tried: asking Qt for
// the session bus then would start a private bus of its own (dbus-launch), which has
// no notification service. A service that does not answer within kCallTimeout counts
// as missing.
//
// Main thread; the signals arrive from the event loop.
class DesktopNotifier : public QObject
{
    Q_OBJECT
public:
    static constexpr std::chrono::milliseconds kCallTimeout{5000};

    explicit DesktopNotifier(QObject *parent = nullptr);

    // Shows the notification, or replaces the one shown before; actions are pairs of
    // key and label. Whether a notification service took it.
    bool show(const QString &summary, const QString &body, const QStringList &actions,
              std::chrono::milliseconds expiry);
    // Withdraws the notification shown, if any.
    void close();

Q_SIGNALS:
    void actionInvoked(const QString &key);
    void closed();

private Q_SLOTS:
    void onActionInvoked(uint id, const QString &key);
    void onNotificationClosed(uint id, uint reason);

private:
    bool listen();

    bool m_listening = false;
    uint m_id = 0;
};
