#include "RestartableTimer.h"

#include <algorithm>

RestartableTimer::RestartableTimer(std::function<void()> action, QObject *parent)
    : QObject(parent)
    , m_action(std::move(action))
{
    m_timer.setSingleShot(true);
    // A debounce is measured from the last event: a coarse timer could fire up to 5% early.
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        if (m_action)
            m_action();
    });
}

void RestartableTimer::restart(std::chrono::milliseconds delay)
{
    if (!m_timer.isActive())
        m_sinceFirstRestart.start();
    if (m_ceiling.count() > 0) {
        const std::chrono::milliseconds left = m_ceiling - std::chrono::milliseconds(m_sinceFirstRestart.elapsed());
        delay = std::clamp(left, std::chrono::milliseconds(0), delay);
    }
    m_timer.start(delay);
}

void RestartableTimer::cancel()
{
    m_timer.stop();
}
