#pragma once

#include <QObject>
#include <QStringList>
#include <QTimer>

#include <memory>

class InstanceLock;
class KernelEventQueue;
class QSocketNotifier;

// Open-file requests between two starts of the helper of one user: the agent, which
// holds the user's instance lock, listens on a local socket in the runtime directory,
// both named after the helper's bundle identifier; a later start hands its files over
// (OpenFilePeer has the request's form) and exits.
//
// The socket stays open whatever its peers do: peers of other users are refused
// (SO_PEERCRED); at most kMaxPeers are served at once, the others wait in the
// kernel's backlog; each has Delays::kSocketPeerLimit to deliver one bounded request
// and is closed after the answer; a failed accept (no descriptor left) is retried
// after Delays::kSocketRetry instead of closing the socket; and the socket (and the
// lock file) are made again when their files disappear from the runtime directory.
//
// Main thread only. Owns the listening socket and its peers; the lock is the caller's
// and must outlive the object.
class OpenFileRequests : public QObject
{
    Q_OBJECT
public:
    static constexpr int kMaxPeers = 16;

    explicit OpenFileRequests(QObject *parent = nullptr);
    ~OpenFileRequests() override;

    static QString socketPath();
    static QString lockPath();
    // Listens, replacing whatever a crashed agent left at the socket's path, which
    // only the holder of the lock (acquired) may do; false, with errorString(), when
    // the socket cannot be made.
    bool listen(InstanceLock &lock);
    QString errorString() const { return m_error; }
    int peerCount() const { return m_peers; }

    // Hands the files to the running agent, in as many requests as the limits need;
    // false when it did not take them all within the time.
    static bool sendToRunningInstance(const QStringList &files, int timeoutMs = 5000);
    // Whether the connected peer runs as this process's user.
    static bool isPeerOfSameUser(int descriptor);

Q_SIGNALS:
    void filesOpened(const QStringList &files);
    // The lock file was deleted and another agent has taken the new one: this one
    // no longer listens.
    void instanceLost();

private:
    bool createSocket();
    void watchFolder();
    void closeSocket();
    bool isSocketInPlace() const;
    void acceptPending();
    void checkSocket();
    void retryLater();
    void onPeerFinished();

    InstanceLock *m_lock = nullptr;
    QString m_socketPath;
    int m_listener = -1;
    quint64 m_socketDevice = 0;
    quint64 m_socketInode = 0;
    QSocketNotifier *m_acceptor = nullptr;
    std::unique_ptr<KernelEventQueue> m_folderEvents; // the runtime directory's changes
    int m_folderWatch = -1;
    QTimer m_retry;
    int m_peers = 0;
    QString m_error;
};
