#pragma once

#include <QString>

#include <functional>
#include <thread>

// Starts the helper's threads, named (as ps and debuggers show them).
//
// The system may refuse a thread: the user's process or thread limit is reached, or
// memory is short. std::thread reports that by throwing std::system_error, which
// would end the agent; here a refused thread comes back as an empty, not joinable
// std::thread (with a warning under "tarnwick.platform.threads"), and the caller
// degrades: it keeps its work for a later try, or skips it.
//
// Thread-safe. Tests make every start fail with setRefusedForTests().
class ThreadLauncher
{
public:
    static std::thread start(const QString &name, std::function<void()> body);
    // While set, every start is refused as the system would refuse it.
    static void setRefusedForTests(bool refused);
};
