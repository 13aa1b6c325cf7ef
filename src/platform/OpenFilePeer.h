#pragma once

#include <QObject>
#include <QStringList>
#include <QTimer>

#include <chrono>
#include <optional>

class QSocketNotifier;

// One connection to the agent's open-file socket: it reads one request, answers it
// with one byte and closes. A request that is malformed, too large or not complete
// within the time limit closes the connection without an answer.
//
// A request is a 4-byte big-endian length, then that many bytes: a QDataStream list
// of file names (a 4-byte count, then each name). Only the request's own bytes are
// read from the connection, never more, so a peer that keeps sending costs nothing.
//
// Main thread only. Owns the connection's descriptor; finished() is its last signal.
class OpenFilePeer : public QObject
{
    Q_OBJECT
public:
    static constexpr quint32 kMaxRequestBytes = 256 * 1024;
    static constexpr quint32 kMaxFiles = 1024;
    static constexpr char kAccepted = 'A';

    // Takes over a connected, non-blocking descriptor.
    OpenFilePeer(int descriptor, std::chrono::milliseconds timeLimit, QObject *parent = nullptr);
    ~OpenFilePeer() override;

    // The request for the files, length included.
    static QByteArray encode(const QStringList &files);
    // The files of a request's body (what follows the length); nothing when malformed.
    static std::optional<QStringList> decode(const QByteArray &body);

Q_SIGNALS:
    void filesReceived(const QStringList &files);
    // The connection is closed; nothing follows.
    void finished();

private:
    static constexpr qsizetype kLengthBytes = 4;

    void readAvailable();
    // Reads until the buffer holds what is needed; false when the peer ended first.
    bool fill();
    void answer();
    void finish();

    int m_descriptor;
    QSocketNotifier *m_notifier;
    QTimer m_timeLimit;
    QByteArray m_buffer;
    qsizetype m_needed = kLengthBytes;
    bool m_lengthRead = false;
};
