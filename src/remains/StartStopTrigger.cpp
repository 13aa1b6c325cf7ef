#include "StartStopTrigger.h"

std::shared_ptr<StartStopTrigger> StartStopTrigger::initWithListener(std::weak_ptr<StartStopTriggerListener> listener)
{
    return std::shared_ptr<StartStopTrigger>(new StartStopTrigger(std::move(listener)));
}

StartStopTrigger::StartStopTrigger(std::weak_ptr<StartStopTriggerListener> listener)
    : m_pListener(std::move(listener))
{
}

void StartStopTrigger::start()
{
    std::lock_guard guard(m_pTriggerLock);
    if (!m_isPaused.load())
        return;
    m_isPaused.store(false);
    if (auto listener = m_pListener.lock())
        listener->onTriggerStarted(this);
}

void StartStopTrigger::stop()
{
    std::lock_guard guard(m_pTriggerLock);
    if (m_isPaused.load())
        return;
    m_isPaused.store(true);
    m_cycle.fetch_add(1); // unsigned: wraps at 2^32
    if (auto listener = m_pListener.lock())
        listener->onTriggerStopped(this);
}
