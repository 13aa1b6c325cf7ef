#include "SerialQueue.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <pthread.h>

namespace {

// Linux thread names hold at most 15 characters.
constexpr qsizetype kThreadNameLimit = 15;

} // namespace

// Shared by the queue object and its thread, so that the thread may outlive the
// object when a task destroys its own queue.
struct SerialQueue::State
{
    std::mutex lock;
    std::condition_variable wake;
    std::deque<Task> tasks;
    bool stopping = false;

    void run()
    {
        for (;;) {
            Task task;
            {
                std::unique_lock guard(lock);
                wake.wait(guard, [this] { return stopping || !tasks.empty(); });
                if (stopping)
                    return;
                task = std::move(tasks.front());
                tasks.pop_front();
            }
            task();
        }
    }
};

SerialQueue::SerialQueue(QString label)
    : m_label(std::move(label))
    , m_state(std::make_shared<State>())
{
    m_thread = std::thread([state = m_state] { state->run(); });
    ::pthread_setname_np(m_thread.native_handle(), m_label.left(kThreadNameLimit).toUtf8().constData());
}

SerialQueue::~SerialQueue()
{
    std::deque<Task> dropped;
    {
        std::lock_guard guard(m_state->lock);
        m_state->stopping = true;
        dropped.swap(m_state->tasks);
    }
    m_state->wake.notify_all();
    dropped.clear(); // outside the lock: a dropped task's captures may post elsewhere
    if (isCurrent())
        m_thread.detach();
    else
        m_thread.join();
}

void SerialQueue::async(Task task)
{
    if (!task)
        return;
    // Hold the state for the whole call: the wake-up below happens after the lock is
    // released, when another thread may already be destroying this queue.
    const std::shared_ptr<State> state = m_state;
    {
        std::lock_guard guard(state->lock);
        if (state->stopping)
            return;
        state->tasks.push_back(std::move(task));
    }
    state->wake.notify_one();
}

bool SerialQueue::isCurrent() const
{
    return std::this_thread::get_id() == m_thread.get_id();
}
