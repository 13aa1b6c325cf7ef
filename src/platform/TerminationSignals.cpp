#include "TerminationSignals.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

int g_pipe[2] = {-1, -1};

extern "C" void onTerminationSignal(int)
{
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = ::write(g_pipe[1], &byte, 1);
}

} // namespace

TerminationSignals::TerminationSignals(int readFd)
    : QObject(QCoreApplication::instance())
    , m_notifier(new QSocketNotifier(readFd, QSocketNotifier::Read, this))
{
    connect(m_notifier, &QSocketNotifier::activated, this, [readFd] {
        char buffer[16];
        [[maybe_unused]] const ssize_t drained = ::read(readFd, buffer, sizeof buffer);
        QCoreApplication::quit();
    });
}

void TerminationSignals::install()
{
    if (g_pipe[0] >= 0 || !QCoreApplication::instance())
        return;
    if (::pipe2(g_pipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    new TerminationSignals(g_pipe[0]);
    struct sigaction action {};
    action.sa_handler = onTerminationSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
}
