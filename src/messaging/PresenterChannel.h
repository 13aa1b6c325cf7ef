#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QObject>

class QSocketNotifier;

// The private line between the agent and its presenter: one end of a socket pair the
// agent made and handed to the presenter it started, so that no other process can
// reach either end. Each message is a JSON object on one line.
//
// What the agent sends: {"type":"arrival","seq":N,"kind":"bundle"|"appimage","path":P}
// and {"type":"ping","seq":N}. What the presenter sends: {"type":"ready"} once it
// has a display, {"type":"received","seq":N} for each arrival, {"type":"pong","seq":N},
// {"type":"shown","description":D,"others":N} each time its window shows or gathers
// another application, and {"type":"hidden"}. Paths keep bytes that are not UTF-8 as
// the lone surrogates the path codec makes of them.
//
// A line longer than kMaxLineBytes, or one that is not a JSON object, ends the line:
// the other side is not the program it should be.
//
// Main thread only. Owns its end of the pair.
class PresenterChannel : public QObject
{
    Q_OBJECT
public:
    static constexpr qint64 kMaxLineBytes = 256 * 1024;
    // How a presenter that found no display to draw on ends.
    static constexpr int kExitNoDisplay = 3;

    // Takes over a connected stream socket (made non-blocking here).
    explicit PresenterChannel(int descriptor, QObject *parent = nullptr);
    ~PresenterChannel() override;

    // Two connected, close-on-exec ends; false when the system refused.
    static bool createPair(int (&descriptors)[2]);

    void send(const QJsonObject &message);
    bool isOpen() const;
    void close();

Q_SIGNALS:
    void received(const QJsonObject &message);
    // The other side went away or broke the protocol; nothing follows.
    void closed();

private:
    void readAvailable();
    void readLines();
    void flush();

    int m_descriptor;
    QSocketNotifier *m_reader = nullptr;
    QSocketNotifier *m_writer = nullptr;
    QByteArray m_in;
    QByteArray m_out;
};
