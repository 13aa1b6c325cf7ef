#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <chrono>
#include <functional>

// A single-shot timer on the main thread that can be restarted: each restart
// cancels the pending run, so a burst of restarts leads to one run, one delay after
// the last of them (a debounce).
//
// With a ceiling, restarts postpone the run at most that long after the first
// restart since the previous run: changes that never pause still lead to a run now
// and then, and the debounce goes on as before after it.
class RestartableTimer : public QObject
{
    Q_OBJECT
public:
    explicit RestartableTimer(std::function<void()> action, QObject *parent = nullptr);

    void restart(std::chrono::milliseconds delay);
    void cancel();
    bool isPending() const { return m_timer.isActive(); }
    // No ceiling (the default) is zero.
    void setCeiling(std::chrono::milliseconds ceiling) { m_ceiling = ceiling; }

private:
    QTimer m_timer;
    std::function<void()> m_action;
    std::chrono::milliseconds m_ceiling{0};
    QElapsedTimer m_sinceFirstRestart;
};
