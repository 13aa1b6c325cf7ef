#pragma once

#include <QString>
#include <QVariantMap>

#include <functional>
#include <map>
#include <unordered_map>
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
//
// Registrations are kept by sender, so a post looks only at the observers of its
// sender and of every sender, and each registration is removed through its token:
// neither grows with the observers of other senders.
class NotificationCenter
{
public:
    using Handler = std::function<void(const Notification &)>;
    // Names one registration; None is never handed out.
    enum class Token : quint64 { None = 0 };

    static NotificationCenter &defaultCenter();
    // The centre on which file-system watchers post their changes.
    static NotificationCenter &workspaceCenter();

    // An empty name observes every name; a null sender observes every sender.
    Token addObserver(const void *observer, const QString &name, const void *sender, Handler handler);
    void removeObserver(Token token);
    // Every registration of the observer.
    void removeObserver(const void *observer);
    void post(const QString &name, const void *sender, const QVariantMap &userInfo = {});

private:
    struct Entry
    {
        const void *observer;
        QString name;
        const void *sender;
        Handler handler;
    };
    std::vector<Token> tokensFor(const void *sender) const;

    std::map<Token, Entry> m_entries; // in order of registration
    std::unordered_map<const void *, std::vector<Token>> m_bySender; // null: every sender
    std::unordered_map<const void *, std::vector<Token>> m_byObserver;
    quint64 m_lastToken = 0;
};
