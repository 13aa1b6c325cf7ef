#pragma once

#include <QObject>
#include <QTimer>

#include <chrono>
#include <functional>

// A single-shot timer on the main thread that can be restarted: each restart
// cancels the pending run, so a burst of restarts leads to one run, one delay after
// the last of them (a debounce).
class RestartableTimer : public QObject
{
    Q_OBJECT
public:
    explicit RestartableTimer(std::function<void()> action, QObject *parent = nullptr);

    void restart(std::chrono::milliseconds delay);
    void cancel();
    bool isPending() const { return m_timer.isActive(); }

private:
    QTimer m_timer;
    std::function<void()> m_action;
};
