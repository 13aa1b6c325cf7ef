#include "MainThread.h"

#include <QCoreApplication>
#include <QPointer>
#include <QSocketNotifier>
#include <QTimer>

#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace {

// Tasks travel to the main thread through this queue, under a standard mutex, and the
// poster only wakes the main thread through an eventfd, which a socket notifier of the
// main thread watches. So no other thread ever touches a Qt object: posting a Qt event
// from a worker (into the main thread's event list, guarded by Qt's own locks, which
// ThreadSanitizer cannot see) looked like a race with the main thread posting its own
// events, and the application, which a worker would have had to read to post to it,
// may be going away at that very moment.
//
// The eventfd and the notifier are made as each application is constructed and closed,
// under the mutex, when it begins to quit or is destroyed: a poster that finds no
// eventfd is refused.
struct MainQueue
{
    std::mutex lock;
    int wakeFd = -1; // -1 while closed
    QSocketNotifier *notifier = nullptr;
    std::thread::id mainThread;
    std::deque<MainThread::Task> tasks;
};

// Never destroyed: a worker may post while the process runs its exit handlers.
MainQueue &mainQueue()
{
    static auto *const queue = new MainQueue;
    return *queue;
}

std::optional<MainThread::Task> takeNextTask()
{
    MainQueue &queue = mainQueue();
    std::lock_guard guard(queue.lock);
    if (queue.tasks.empty())
        return std::nullopt;
    MainThread::Task task = std::move(queue.tasks.front());
    queue.tasks.pop_front();
    return task;
}

// Runs the tasks that were waiting when the main thread woke, one at a time, in order;
// later ones wake it again. A task that runs a nested event loop lets that loop run the
// next ones, still in order.
void runWaitingTasks(int wakeFd)
{
    std::uint64_t wakeUps = 0;
    [[maybe_unused]] const ssize_t drained = ::read(wakeFd, &wakeUps, sizeof wakeUps);
    size_t waiting = 0;
    {
        MainQueue &queue = mainQueue();
        std::lock_guard guard(queue.lock);
        waiting = queue.tasks.size();
    }
    for (; waiting > 0; --waiting) {
        std::optional<MainThread::Task> task = takeNextTask();
        if (!task)
            return;
        (*task)();
    }
}

// Closing drops the waiting tasks, outside the lock: their captures may post again.
void close(bool applicationGone)
{
    std::deque<MainThread::Task> dropped;
    QSocketNotifier *notifier = nullptr;
    int wakeFd = -1;
    {
        MainQueue &queue = mainQueue();
        std::lock_guard guard(queue.lock);
        notifier = std::exchange(queue.notifier, nullptr);
        wakeFd = std::exchange(queue.wakeFd, -1);
        dropped.swap(queue.tasks);
        if (applicationGone)
            queue.mainThread = {};
    }
    delete notifier;
    if (wakeFd >= 0)
        ::close(wakeFd);
}

// Runs on the main thread as every application is constructed.
void open()
{
    QCoreApplication *app = QCoreApplication::instance();
    const int wakeFd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wakeFd < 0)
        return; // no queue: every task is refused
    auto *notifier = new QSocketNotifier(wakeFd, QSocketNotifier::Read);
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [wakeFd] { runWaitingTasks(wakeFd); });
    {
        MainQueue &queue = mainQueue();
        std::lock_guard guard(queue.lock);
        queue.wakeFd = wakeFd;
        queue.notifier = notifier;
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
    if (queue.wakeFd < 0) {
        guard.unlock();
        return; // refused: the task goes here, on this thread, after the lock
    }
    queue.tasks.push_back(std::move(task));
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(queue.wakeFd, &one, sizeof one);
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
    return queue.wakeFd >= 0;
}
