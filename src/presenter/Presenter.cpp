#include "Presenter.h"

#include "messaging/PresenterChannel.h"
#include "notification/NotificationLog.h"
#include "notification/RichNotificationWC.h"
#include "platform/Bundle.h"
#include "platform/Delays.h"

#include <QCoreApplication>
#include <QJsonObject>

namespace {

constexpr std::chrono::milliseconds kReportCoalescing{100};

QJsonObject typed(const char *type)
{
    return {{QStringLiteral("type"), QLatin1String(type)}};
}

} // namespace

Presenter::Presenter(int channelDescriptor, QObject *parent)
    : QObject(parent)
    , m_channel(new PresenterChannel(channelDescriptor, this))
    , m_controller(RichNotificationWC::create())
    , m_quitAfter(std::chrono::steady_clock::now())
{
    m_quit.setSingleShot(true);
    m_report.setSingleShot(true);
    m_report.setInterval(kReportCoalescing);
    connect(&m_report, &QTimer::timeout, this, &Presenter::reportShown);
    connect(&m_quit, &QTimer::timeout, this, &Presenter::quitIfIdle);
    connect(m_channel, &PresenterChannel::received, this, &Presenter::onMessage);
    connect(m_channel, &PresenterChannel::closed, this, &Presenter::quitIfIdle);
    connect(m_controller.get(), &RichNotificationWC::notificationShown, this, &Presenter::reportShown);
    connect(m_controller.get(), &RichNotificationWC::descriptionChanged, this, &Presenter::scheduleReport);
    connect(m_controller.get(), &RichNotificationWC::notificationHidden, this, &Presenter::reportHidden);
    stayFor(Delays::scaled(Delays::kPresenterLinger));
}

Presenter::~Presenter() = default;

void Presenter::sayReady()
{
    m_channel->send(typed("ready"));
}

void Presenter::onMessage(const QJsonObject &message)
{
    const QString type = message.value(QStringLiteral("type")).toString();
    if (type == QLatin1String("arrival")) {
        onArrival(message);
    } else if (type == QLatin1String("ping")) {
        m_channel->send(typed("pong"));
    }
}

// Received at once, before anything that could fail: an arrival that brings a
// presenter down is not offered to the next one without end.
void Presenter::onArrival(const QJsonObject &message)
{
    QJsonObject received = typed("received");
    received.insert(QStringLiteral("seq"), message.value(QStringLiteral("seq")));
    m_channel->send(received);
    stayFor(Delays::scaled(Delays::kMetadataSearchLimit) + Delays::scaled(Delays::kPresenterLinger));
    const QString path = message.value(QStringLiteral("path")).toString();
    if (path.isEmpty())
        return;
    qCDebug(lcNotification) << "arrival" << path;
    if (message.value(QStringLiteral("kind")).toString() == QLatin1String("appimage"))
        m_controller->showNotificationForAppImage(path);
    else
        m_controller->showNotificationForApp(Bundle::bundleWithPath(path));
}

void Presenter::scheduleReport()
{
    if (!m_report.isActive())
        m_report.start();
}

// What the window shows, when it changed: at once when it shows, then at most one
// message per coalescing interval however fast the sizes grow.
void Presenter::reportShown()
{
    if (!m_controller->isActive())
        return;
    QJsonObject shown = typed("shown");
    shown.insert(QStringLiteral("description"), m_controller->descriptionText());
    shown.insert(QStringLiteral("others"), m_controller->otherAppCount());
    if (shown == m_lastReport)
        return;
    m_lastReport = shown;
    m_channel->send(shown);
}

void Presenter::reportHidden()
{
    m_report.stop();
    m_lastReport = {};
    m_channel->send(typed("hidden"));
    stayFor(Delays::scaled(Delays::kPresenterLinger));
}

void Presenter::stayFor(std::chrono::milliseconds delay)
{
    m_quitAfter = std::max(m_quitAfter, std::chrono::steady_clock::now() + delay);
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_quitAfter - std::chrono::steady_clock::now());
    m_quit.start(std::max(left, std::chrono::milliseconds(0)));
}

// Called when the time is up and when the agent goes away: with the window up, its
// hiding asks again.
void Presenter::quitIfIdle()
{
    if (m_controller->isActive())
        return;
    if (m_channel->isOpen() && std::chrono::steady_clock::now() < m_quitAfter) {
        stayFor(std::chrono::milliseconds(0)); // a timer may come a little early
        return;
    }
    QCoreApplication::quit();
}
