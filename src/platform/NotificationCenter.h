#pragma once

#include <QString>
#include <QVariantMap>

#include <functional>
#include <vector>

// A notification: a name, the object that sent it, and a dictionary of details.
struct Notification
{
    QString name;
    const void *sender = nullptr;
    QVariantMap userInfo;
};

// A notification centre: observers register for a name (or every name) and a
// sender (or every sender) and are called synchronously, in order of registration,
// when a matching notification is posted. Main thread only.
class NotificationCenter
{
public:
    using Handler = std::function<void(const Notification &)>;

    static NotificationCenter &defaultCenter();
    // The centre on which file-system watchers post their changes.
    static NotificationCenter &workspaceCenter();

    // An empty name observes every name; a null sender observes every sender.
    void addObserver(const void *observer, const QString &name, const void *sender, Handler handler);
    void removeObserver(const void *observer);
    void post(const QString &name, const void *sender, const QVariantMap &userInfo = {});

private:
    struct Entry
    {
        const void *observer;
        QString name;
        const void *sender;
        Handler handler;
        quint64 serial;
    };
    std::vector<Entry> m_entries;
    quint64 m_nextSerial = 1;
};
