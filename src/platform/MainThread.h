#pragma once

#include <QObject>

#include <chrono>
#include <functional>

// The main (GUI) thread as a queue: work posted from any thread runs there, in a
// later turn of the event loop, never re-entrantly inside the caller.
//
// A poster never calls into Qt: it queues the task under a standard mutex and wakes
// the main thread through an eventfd. The queue opens with each application and
// closes as soon as the application begins to quit (aboutToQuit) or is destroyed
// without quitting: tasks still waiting are then dropped, and later tasks are refused,
// that is destroyed at once on the caller's thread. So a worker that outlives the
// application never reaches it. Nothing here is ever destroyed, as such workers may
// still post while the process exits.
class MainThread
{
public:
    using Task = std::function<void()>;

    static void async(Task task);
    // Runs the task once after the delay; nothing runs if the context is destroyed first.
    static void after(std::chrono::milliseconds delay, const QObject *context, Task task);
    static bool isCurrent();
    // Whether tasks are taken: an application exists and has not begun to quit.
    static bool isOpen();
};
