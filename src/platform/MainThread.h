#pragma once

#include <QObject>

#include <chrono>
#include <functional>

// The main (GUI) thread as a queue: work posted from any thread runs there, in a
// later turn of the event loop, never re-entrantly inside the caller.
class MainThread
{
public:
    using Task = std::function<void()>;

    static void async(Task task);
    // Runs the task once after the delay; nothing runs if the context is destroyed first.
    static void after(std::chrono::milliseconds delay, const QObject *context, Task task);
    static bool isCurrent();
};
