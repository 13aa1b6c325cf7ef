#include "PresenterLink.h"

#include "AgentLog.h"
#include "messaging/PresenterChannel.h"
#include "platform/Delays.h"
#include "platform/UserDatabase.h"

#include <QCoreApplication>
#include <QJsonObject>

#include <fcntl.h>
#include <unistd.h>

namespace {

QString kindName(PresenterLink::Kind kind)
{
    return kind == PresenterLink::Kind::AppImage ? QStringLiteral("appimage") : QStringLiteral("bundle");
}

} // namespace

PresenterLink::PresenterLink(QObject *parent)
    : QObject(parent)
    , m_executable(defaultExecutable())
{
    m_ping.setInterval(Delays::scaled(Delays::kPresenterPing));
    connect(&m_ping, &QTimer::timeout, this, &PresenterLink::checkAnswers);
    m_retry.setInterval(Delays::scaled(Delays::kPresenterRetry));
    connect(&m_retry, &QTimer::timeout, this, &PresenterLink::start);
}

PresenterLink::~PresenterLink()
{
    stop();
}

QString PresenterLink::defaultExecutable()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/tarnwick-presenter");
}

qint64 PresenterLink::presenterId() const
{
    return m_process ? m_process->processId() : 0;
}

void PresenterLink::present(Kind kind, const QString &path)
{
    m_waiting.append({m_nextSeq++, kind, path});
    qCDebug(lcAgent) << "presenting" << path;
    if (m_process)
        send(m_waiting.constLast());
    else
        start();
}

// The presenter gets its end of a socket pair as an inherited descriptor: no other
// process can connect to it.
void PresenterLink::start()
{
    if (m_process || m_waiting.isEmpty())
        return;
    int ends[2];
    if (!PresenterChannel::createPair(ends)) {
        qCWarning(lcAgent) << "cannot make the presenter's line; the applications wait for the next arrival";
        return;
    }
    const int childEnd = ends[1];
    m_process = new QProcess(this);
    m_process->setProcessEnvironment(environment());
    m_process->setProcessChannelMode(QProcess::ForwardedChannels);
    m_process->setStandardInputFile(QProcess::nullDevice());
    m_process->setChildProcessModifier([childEnd] { ::fcntl(childEnd, F_SETFD, 0); });
    connect(m_process, &QProcess::finished, this, &PresenterLink::onFinished);
    connect(m_process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            onFinished();
    });
    m_process->start(m_executable, arguments(childEnd));
    ::close(childEnd);
    m_channel = new PresenterChannel(ends[0], this);
    connect(m_channel, &PresenterChannel::received, this, &PresenterLink::onMessage);
    m_ready = false;
    m_sinceHeard.start();
    m_ping.start();
    for (const Arrival &arrival : std::as_const(m_waiting))
        send(arrival);
}

// A test's shortened delays hold for the presenter too, the one program the agent
// passes them on to: the presenter is part of the helper.
QProcessEnvironment PresenterLink::environment() const
{
    QProcessEnvironment environment = m_environment.value_or(QProcessEnvironment::systemEnvironment());
    if (Delays::testDivisor() > 1)
        environment.insert(QLatin1String(Delays::kTestDivisorVariable), QString::number(Delays::testDivisor()));
    return environment;
}

QStringList PresenterLink::arguments(int descriptor) const
{
    QStringList arguments{QStringLiteral("--channel"), QString::number(descriptor)};
    if (!UserDatabase::homeOverride().isEmpty())
        arguments << QStringLiteral("--home") << UserDatabase::homeOverride();
    return arguments;
}

void PresenterLink::send(const Arrival &arrival)
{
    m_channel->send({{QStringLiteral("type"), QStringLiteral("arrival")},
                     {QStringLiteral("seq"), arrival.seq},
                     {QStringLiteral("kind"), kindName(arrival.kind)},
                     {QStringLiteral("path"), arrival.path}});
}

void PresenterLink::onMessage(const QJsonObject &message)
{
    m_sinceHeard.start();
    const QString type = message.value(QStringLiteral("type")).toString();
    if (type == QLatin1String("ready")) {
        m_ready = true;
        m_warnedNoDisplay = false;
        m_retry.stop();
    } else if (type == QLatin1String("received")) {
        onReceived(message.value(QStringLiteral("seq")).toInteger());
    } else if (type == QLatin1String("shown")) {
        Q_EMIT shown(message.value(QStringLiteral("description")).toString(),
                     message.value(QStringLiteral("others")).toInteger());
    } else if (type == QLatin1String("hidden")) {
        Q_EMIT hidden();
    }
}

void PresenterLink::onReceived(qint64 seq)
{
    m_waiting.removeIf([seq](const Arrival &arrival) { return arrival.seq == seq; });
}

void PresenterLink::onFinished()
{
    const bool hadDisplay = m_ready;
    stop();
    if (m_waiting.isEmpty())
        return;
    if (hadDisplay) {
        giveUpRepeatedFailures();
        QTimer::singleShot(0, this, &PresenterLink::start);
        return;
    }
    if (!m_warnedNoDisplay)
        qCWarning(lcAgent).noquote() << "no display to show the notification on;" << m_waiting.size()
                                     << "trashed application(s) will be offered when one is there";
    m_warnedNoDisplay = true;
    m_retry.start();
}

void PresenterLink::giveUpRepeatedFailures()
{
    for (Arrival &arrival : m_waiting)
        ++arrival.attempts;
    m_waiting.removeIf([](const Arrival &arrival) {
        if (arrival.attempts < kMaxAttempts)
            return false;
        qCWarning(lcAgent) << "giving up the notification for" << arrival.path << "after" << kMaxAttempts
                           << "presenters ended with it";
        return true;
    });
}

void PresenterLink::checkAnswers()
{
    if (std::chrono::milliseconds(m_sinceHeard.elapsed()) >= Delays::scaled(Delays::kPresenterHang)) {
        qCWarning(lcAgent) << "the presenter does not answer; replacing it";
        m_process->kill();
        return;
    }
    m_channel->send({{QStringLiteral("type"), QStringLiteral("ping")}});
}

void PresenterLink::stop()
{
    m_ping.stop();
    if (m_channel) {
        m_channel->disconnect(this);
        m_channel->deleteLater();
        m_channel = nullptr;
    }
    if (!m_process)
        return;
    m_process->disconnect(this);
    if (m_process->state() != QProcess::NotRunning) {
        m_process->terminate();
        if (!m_process->waitForFinished(1000))
            m_process->kill();
    }
    m_process->deleteLater();
    m_process = nullptr;
}
