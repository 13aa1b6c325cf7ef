#pragma once

#include "StartStopTriggerListener.h"

#include <QtGlobal>

#include <atomic>
#include <memory>
#include <mutex>

// A start/stop switch with a cycle counter: every effective stop begins a new cycle, so
// a loop that remembers the cycle it was started in can tell, without any lock, that
// it has been stopped since.
//
// Thread-safe. Start and stop are serialised by a recursive lock, under which the
// listener (held weakly) is told; the cycle and the paused flag may be read anywhere.
class StartStopTrigger
{
public:
    static std::shared_ptr<StartStopTrigger> initWithListener(std::weak_ptr<StartStopTriggerListener> listener);

    // Leaves the paused state and tells the listener; does nothing while running.
    void start();
    // Enters the paused state, begins the next cycle and tells the listener; does
    // nothing while paused.
    void stop();

    quint32 cycle() const { return m_cycle.load(); }
    void setCycle(quint32 cycle) { m_cycle.store(cycle); }
    bool isPaused() const { return m_isPaused.load(); }
    void setIsPaused(bool paused) { m_isPaused.store(paused); }

private:
    explicit StartStopTrigger(std::weak_ptr<StartStopTriggerListener> listener);

    std::weak_ptr<StartStopTriggerListener> m_pListener;
    std::recursive_mutex m_pTriggerLock;
    std::atomic<bool> m_isPaused{true};
    std::atomic<quint32> m_cycle{1};
};
