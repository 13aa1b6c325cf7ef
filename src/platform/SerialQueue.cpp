#include "SerialQueue.h"

#include "Delays.h"
#include "MainThread.h"
#include "ThreadLauncher.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

// Shared by the queue object and its thread, so that the thread may outlive the
// object when a task destroys its own queue.
struct SerialQueue::State : std::enable_shared_from_this<State>
{
    explicit State(QString name)
        : label(std::move(name))
    {
    }

    const QString label;
    std::mutex lock;
    std::condition_variable wake;
    std::deque<Task> tasks;
    bool stopping = false;
    bool retryArmed = false;
    std::thread thread; // written under the lock until stopping is set
    std::atomic<std::thread::id> threadId;

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

    // Under the lock: makes the thread when there is none yet; while the system
    // refuses it, tries again a little later for the tasks kept meanwhile.
    void ensureThread()
    {
        if (thread.joinable() || stopping)
            return;
        thread = ThreadLauncher::start(label, [self = shared_from_this()] { self->run(); });
        threadId = thread.get_id();
        if (thread.joinable() || retryArmed)
            return;
        retryArmed = true;
        MainThread::after(Delays::scaled(Delays::kThreadRetry), nullptr, [weak = weak_from_this()] {
            if (const auto self = weak.lock()) {
                std::lock_guard guard(self->lock);
                self->retryArmed = false;
                self->ensureThread();
                self->wake.notify_one();
            }
        });
    }
};

SerialQueue::SerialQueue(QString label)
    : m_label(std::move(label))
    , m_state(std::make_shared<State>(m_label))
{
    std::lock_guard guard(m_state->lock);
    m_state->ensureThread();
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
        m_state->thread.detach();
    else if (m_state->thread.joinable())
        m_state->thread.join();
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
        state->ensureThread();
    }
    state->wake.notify_one();
}

bool SerialQueue::isCurrent() const
{
    return std::this_thread::get_id() == m_state->threadId.load();
}
