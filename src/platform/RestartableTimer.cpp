#include "RestartableTimer.h"

RestartableTimer::RestartableTimer(std::function<void()> action, QObject *parent)
    : QObject(parent)
    , m_action(std::move(action))
{
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        if (m_action)
            m_action();
    });
}

void RestartableTimer::restart(std::chrono::milliseconds delay)
{
    m_timer.start(delay);
}

void RestartableTimer::cancel()
{
    m_timer.stop();
}
