#include "ThreadLauncher.h"

#include <QLoggingCategory>

#include <atomic>
#include <cerrno>
#include <pthread.h>
#include <system_error>

namespace {

Q_LOGGING_CATEGORY(lcThreads, "tarnwick.platform.threads", QtWarningMsg)

// Linux thread names hold at most 15 characters.
constexpr qsizetype kThreadNameLimit = 15;

std::atomic<bool> g_refused{false};

} // namespace

std::thread ThreadLauncher::start(const QString &name, std::function<void()> body)
{
    try {
        if (g_refused.load())
            throw std::system_error(EAGAIN, std::generic_category(), "refused for a test");
        std::thread thread(std::move(body));
        ::pthread_setname_np(thread.native_handle(), name.left(kThreadNameLimit).toUtf8().constData());
        return thread;
    } catch (const std::system_error &error) {
        qCWarning(lcThreads) << "cannot start the thread" << name << ":" << error.what();
        return {};
    }
}

void ThreadLauncher::setRefusedForTests(bool refused)
{
    g_refused.store(refused);
}
