#include "MainThread.h"

#include <QCoreApplication>
#include <QPointer>
#include <QThread>
#include <QTimer>

#include <deque>
#include <mutex>
#include <utility>

namespace {

// Tasks travel to the main thread through this queue, under a standard mutex, and
// each posted event only says "run the next one". Qt's event queue synchronises the
// threads as well, but inside Qt, where ThreadSanitizer cannot see it: a task carried
// in the event itself looked like a race between the thread that made it and the main
// thread that ran it.
struct PendingTasks
{
    std::mutex lock;
    // Each task with the application it was posted to; tasks of an application that
    // is gone are dropped, as its events are.
    std::deque<std::pair<const QCoreApplication *, MainThread::Task>> tasks;
};

PendingTasks &pendingTasks()
{
    static PendingTasks pending;
    return pending;
}

void runNextTask()
{
    const QCoreApplication *app = QCoreApplication::instance();
    MainThread::Task task;
    {
        PendingTasks &pending = pendingTasks();
        std::lock_guard guard(pending.lock);
        while (!pending.tasks.empty() && !task) {
            if (pending.tasks.front().first == app)
                task = std::move(pending.tasks.front().second);
            pending.tasks.pop_front();
        }
    }
    if (task)
        task();
}

} // namespace

void MainThread::async(Task task)
{
    QCoreApplication *app = QCoreApplication::instance();
    if (!app || !task)
        return;
    PendingTasks &pending = pendingTasks();
    // Posted under the lock, so that the event (made here) reaches the main thread
    // through the same lock as the task; the functor holds nothing to read before
    // runNextTask() takes the lock.
    std::lock_guard guard(pending.lock);
    pending.tasks.emplace_back(app, std::move(task));
    QMetaObject::invokeMethod(app, [] { runNextTask(); }, Qt::QueuedConnection);
}

void MainThread::after(std::chrono::milliseconds delay, const QObject *context, Task task)
{
    if (!task)
        return;
    const QObject *receiver = context ? context : QCoreApplication::instance();
    if (!receiver)
        return;
    if (!isCurrent()) {
        // Timers belong to the main thread; arm this one there.
        QPointer<const QObject> guard(receiver);
        async([delay, guard, task = std::move(task)]() mutable {
            if (guard)
                QTimer::singleShot(delay, guard.data(), std::move(task));
        });
        return;
    }
    QTimer::singleShot(delay, receiver, std::move(task));
}

bool MainThread::isCurrent()
{
    const QCoreApplication *app = QCoreApplication::instance();
    return app && QThread::currentThread() == app->thread();
}
