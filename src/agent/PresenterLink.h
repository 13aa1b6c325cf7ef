#pragma once

#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QTimer>

#include <optional>

class PresenterChannel;
class QJsonObject;

// The agent's side of the notification window, which runs in a presenter process of
// its own so that the agent holds no display connection while it waits.
//
// present() queues an arrival and starts the presenter when none runs; the arrival
// waits here until a presenter says it received it. The presenter exits by itself a
// few seconds after its window hides; the next arrival starts another.
//
// Faults:
// - a presenter that ends before saying it has a display (no display, or a display
//   that refuses it) leaves its arrivals waiting: they go to the presenter of the next
//   arrival, and are offered again every Delays::kPresenterRetry (a display that
//   appears later is found); the first such failure is a warning;
// - a presenter that dies after that (killed, crashed, its display gone) is started
//   again for the arrivals it had not received, each at most kMaxAttempts times, so
//   that an arrival that kills every presenter is given up;
// - a presenter that answers nothing for Delays::kPresenterHang is killed and
//   replaced the same way.
//
// Main thread only. Owns the presenter process and its line; ending the link ends
// the presenter.
class PresenterLink : public QObject
{
    Q_OBJECT
public:
    enum class Kind { Bundle, AppImage };
    static constexpr int kMaxAttempts = 2;

    explicit PresenterLink(QObject *parent = nullptr);
    ~PresenterLink() override;

    void present(Kind kind, const QString &path);

    // The presenter beside this program's executable.
    static QString defaultExecutable();
    void setExecutable(const QString &executable) { m_executable = executable; }
    // The environment the presenter starts in (the agent's own by default).
    void setEnvironment(const QProcessEnvironment &environment) { m_environment = environment; }

    qsizetype waitingCount() const { return m_waiting.size(); }
    // The running presenter's process id; 0 when none runs.
    qint64 presenterId() const;

Q_SIGNALS:
    // The presenter's window shows, or gathered another application.
    void shown(const QString &description, qint64 others);
    void hidden();

private:
    struct Arrival {
        qint64 seq;
        Kind kind;
        QString path;
        int attempts = 0;
    };

    void start();
    QProcessEnvironment environment() const;
    QStringList arguments(int descriptor) const;
    void send(const Arrival &arrival);
    void onMessage(const QJsonObject &message);
    void onReceived(qint64 seq);
    void onFinished();
    void giveUpRepeatedFailures();
    void checkAnswers();
    void stop();

    QString m_executable;
    std::optional<QProcessEnvironment> m_environment; // the agent's own when not set
    QList<Arrival> m_waiting; // in order, not yet received by a presenter
    qint64 m_nextSeq = 1;
    QProcess *m_process = nullptr;
    PresenterChannel *m_channel = nullptr;
    bool m_ready = false;
    bool m_warnedNoDisplay = false;
    QElapsedTimer m_sinceHeard;
    QTimer m_ping;
    QTimer m_retry;
};
