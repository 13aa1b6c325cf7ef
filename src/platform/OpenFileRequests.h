#pragma once

#include <QObject>
#include <QStringList>

class QLocalServer;
class QLocalSocket;

// Open-file requests between two starts of the helper of one user: the running
// agent listens on a local socket in the user's runtime directory, named after the
// helper's bundle identifier; a second start hands its files over and exits.
//
// Only peers of the same user are served (SO_PEERCRED), whatever the socket file's
// permissions. A request is at most kMaxRequestBytes; anything larger or malformed
// is dropped. Main thread only.
class OpenFileRequests : public QObject
{
    Q_OBJECT
public:
    static constexpr qint64 kMaxRequestBytes = 1 << 20;

    explicit OpenFileRequests(QObject *parent = nullptr);
    ~OpenFileRequests() override;

    static QString socketPath();
    // Starts listening; false when another live instance already does.
    bool listen();
    // Hands the files to the running instance; false when none took them.
    static bool sendToRunningInstance(const QStringList &files, int timeoutMs = 5000);
    // Whether the connected peer runs as this process's user.
    static bool isPeerOfSameUser(const QLocalSocket &socket);

Q_SIGNALS:
    void filesOpened(const QStringList &files);

private:
    void onNewConnection();
    void serve(QLocalSocket *socket, QByteArray &buffer);

    QLocalServer *m_server;
};
