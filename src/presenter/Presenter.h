#pragma once

#include <QJsonObject>
#include <QObject>
#include <QTimer>

#include <chrono>
#include <memory>

class PresenterChannel;
class RichNotificationWC;

// The presenter's side of the notification: it takes the arrivals the agent sends
// over their private line to the notification window controller (which decides,
// gathers, measures and hands over as it always did) and tells the agent what the
// window shows and when it hides.
//
// It ends the event loop once it has been idle for Delays::kPresenterLinger: no
// window up, no arrival for that long, and none whose decision may still be running
// (a decision takes at most Delays::kMetadataSearchLimit). An agent that goes away
// leaves the window to the person; the presenter ends when it hides.
//
// Main thread only. Owns the line and the controller.
class Presenter : public QObject
{
    Q_OBJECT
public:
    explicit Presenter(int channelDescriptor, QObject *parent = nullptr);
    ~Presenter() override;

    RichNotificationWC *controller() const { return m_controller.get(); }
    // Tells the agent that this presenter has a display.
    void sayReady();

private:
    void onMessage(const QJsonObject &message);
    void onArrival(const QJsonObject &message);
    void scheduleReport();
    void reportShown();
    void reportHidden();
    // The presenter stays at least this long from now.
    void stayFor(std::chrono::milliseconds delay);
    void quitIfIdle();

    PresenterChannel *m_channel;
    std::unique_ptr<RichNotificationWC> m_controller;
    std::chrono::steady_clock::time_point m_quitAfter;
    QTimer m_quit;
    QTimer m_report;
    QJsonObject m_lastReport;
};
