#include "MainThread.h"

#include <QCoreApplication>
#include <QPointer>
#include <QThread>
#include <QTimer>

void MainThread::async(Task task)
{
    QCoreApplication *app = QCoreApplication::instance();
    if (!app || !task)
        return;
    QMetaObject::invokeMethod(app, std::move(task), Qt::QueuedConnection);
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
