#pragma once

#include <QString>

#include <functional>
#include <memory>

// A serial queue: one thread that runs posted tasks one at a time, first in, first
// out. The label names the thread (as seen by ps and debuggers).
//
// When the system refuses the thread (ThreadLauncher), tasks are kept, in order, and
// the thread is tried again with each new task and, when a main thread runs, after
// Delays::kThreadRetry; the kept tasks run once it starts.
//
// Destruction stops taking new tasks, drops the tasks that have not started, lets
// the running task finish and joins the thread (or, when a task of the queue
// destroys its own queue, lets the thread end by itself after that task).
class SerialQueue
{
public:
    using Task = std::function<void()>;

    explicit SerialQueue(QString label);
    ~SerialQueue();
    SerialQueue(const SerialQueue &) = delete;
    SerialQueue &operator=(const SerialQueue &) = delete;

    void async(Task task);
    QString label() const { return m_label; }
    // Whether the caller runs on this queue's thread.
    bool isCurrent() const;

private:
    struct State;

    const QString m_label;
    std::shared_ptr<State> m_state;
};
