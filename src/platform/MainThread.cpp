#include "MainThread.h"

#include <QCoreApplication>
#include <QPointer>
#include <QTimer>

#include <deque>
#include <mutex>
#include <thread>
#include <utility>

namespace {

// Tasks travel to the main thread through this queue, under a standard mutex, and
// each posted event only says "run the next one". Qt's event queue synchronises the
// threads as well, but inside Qt, where ThreadSanitizer cannot see it: a task carried
// in the event itself looked like a race between the thread that made it and the main
// thread that ran it.
//
// The events go to a receiver of the queue's own rather than to the application, which
// other threads must never read: the receiver is made when the application starts and
// deleted when it quits, both under the lock, so no post can reach a receiver (or an
// application) that is gone.
struct MainQueue
{
    std::mutex lock;
    QObject *receiver = nullptr; // null while closed
    std::thread::id mainThread;
    std::deque<MainThread::Task> tasks;
};

// Never destroyed: a worker may post while the process runs its exit handlers.
MainQueue &mainQueue()
{
    static auto *const queue = new MainQueue;
    return *queue;
}

void runNextTask()
{
    MainThread::Task task;
    {
        MainQueue &queue = mainQueue();
        std::lock_guard guard(queue.lock);
        if (queue.tasks.empty())
            return;
        task = std::move(queue.tasks.front());
        queue.tasks.pop_front();
    }
    task();
}

// Closing drops the waiting tasks, outside the lock: their captures may post again.
void close(bool applicationGone)
{
    std::deque<MainThread::Task> dropped;
    QObject *receiver = nullptr;
    {
        MainQueue &queue = mainQueue();
        std::lock_guard guard(queue.lock);
        receiver = std::exchange(queue.receiver, nullptr);
        dropped.swap(queue.tasks);
        if (applicationGone)
            queue.mainThread = {};
    }
    delete receiver; // takes its pending events along
}

// Runs on the main thread as every application is constructed.
void open()
{
    QCoreApplication *app = QCoreApplication::instance();
    {
        MainQueue &queue = mainQueue();
        std::lock_guard guard(queue.lock);
        queue.receiver = new QObject;
        queue.mainThread = std::this_thread::get_id();
    }
    QObject::connect(app, &QCoreApplication::aboutToQuit, app, [] { close(false); });
    qAddPostRoutine([] { close(true); });
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(open)

void MainThread::async(Task task)
{
    if (!task)
        return;
    MainQueue &queue = mainQueue();
    std::unique_lock guard(queue.lock);
    if (!queue.receiver) {
        guard.unlock();
        return; // refused: the task goes here, on this thread, after the lock
    }
    // Posted under the lock, so that the event (made here) reaches the main thread
    // through the same lock as the task; the functor holds nothing to read before
    // runNextTask() takes the lock.
    queue.tasks.push_back(std::move(task));
    QMetaObject::invokeMethod(queue.receiver, [] { runNextTask(); }, Qt::QueuedConnection);
}

void MainThread::after(std::chrono::milliseconds delay, const QObject *context, Task task)
{
    if (!task)
        return;
    if (!isCurrent()) {
        // Timers belong to the main thread; arm this one there.
        QPointer<const QObject> guard(context);
        async([delay, guard, hasContext = context != nullptr, task = std::move(task)]() mutable {
            if (hasContext && !guard)
                return;
            QTimer::singleShot(delay, hasContext ? guard.data() : QCoreApplication::instance(), std::move(task));
        });
        return;
    }
    const QObject *receiver = context ? context : QCoreApplication::instance();
    if (receiver)
        QTimer::singleShot(delay, receiver, std::move(task));
}

bool MainThread::isCurrent()
{
    MainQueue &queue = mainQueue();
    std::lock_guard guard(queue.lock);
    return queue.mainThread != std::thread::id() && queue.mainThread == std::this_thread::get_id();
}

bool MainThread::isOpen()
{
    MainQueue &queue = mainQueue();
    std::lock_guard guard(queue.lock);
    return queue.receiver != nullptr;
}
