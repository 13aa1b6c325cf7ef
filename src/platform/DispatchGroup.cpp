#include "DispatchGroup.h"

#include "MainThread.h"
#include "SerialQueue.h"

void DispatchGroup::enter()
{
    std::lock_guard guard(m_lock);
    ++m_count;
}

void DispatchGroup::leave()
{
    std::vector<std::pair<Dispatch, Task>> ready;
    {
        std::lock_guard guard(m_lock);
        if (m_count > 0)
            --m_count;
        if (m_count != 0)
            return;
        ready.swap(m_waiting);
        // Woken under the lock: a waiter may destroy the group as soon as it sees the
        // count at zero, and the condition variable with it.
        m_emptied.notify_all();
    }
    for (auto &[dispatch, task] : ready)
        dispatch(std::move(task));
}

bool DispatchGroup::wait(std::chrono::milliseconds timeout)
{
    std::unique_lock guard(m_lock);
    return m_emptied.wait_for(guard, timeout, [this] { return m_count == 0; });
}

void DispatchGroup::notify(const std::shared_ptr<SerialQueue> &queue, Task task)
{
    std::weak_ptr<SerialQueue> target = queue;
    whenEmpty(
        [target](Task ready) {
            if (auto alive = target.lock())
                alive->async(std::move(ready));
        },
        std::move(task));
}

void DispatchGroup::notifyOnMain(Task task)
{
    whenEmpty([](Task ready) { MainThread::async(std::move(ready)); }, std::move(task));
}

void DispatchGroup::whenEmpty(Dispatch dispatch, Task task)
{
    {
        std::lock_guard guard(m_lock);
        if (m_count != 0) {
            m_waiting.emplace_back(std::move(dispatch), std::move(task));
            return;
        }
    }
    dispatch(std::move(task));
}
