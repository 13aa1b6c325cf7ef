#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

class SerialQueue;

// A group of pending pieces of work: enter() and leave() count them; wait() blocks
// until the count is zero; notify() runs a task on a queue once it is. Safe to use
// from any thread; a waiter may destroy the group as soon as wait() has returned true.
class DispatchGroup
{
public:
    using Task = std::function<void()>;

    void enter();
    void leave();
    // Whether the group became empty within the time-out; zero tests it at once.
    bool wait(std::chrono::milliseconds timeout);
    // Posts the task to the queue as soon as the group is empty (at once when it is
    // already). Nothing runs if the queue is gone by then.
    void notify(const std::shared_ptr<SerialQueue> &queue, Task task);
    // The same, with the main thread as the queue.
    void notifyOnMain(Task task);

private:
    using Dispatch = std::function<void(Task)>;
    void whenEmpty(Dispatch dispatch, Task task);

    std::mutex m_lock;
    std::condition_variable m_emptied;
    long m_count = 0;
    std::vector<std::pair<Dispatch, Task>> m_waiting;
};
