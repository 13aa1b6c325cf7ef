#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGINT and SIGTERM into a clean quit of the Qt event loop: the signal
// handler only writes to a pipe, and the loop reads it and calls quit().
class TerminationSignals : public QObject
{
    Q_OBJECT
public:
    static void install();

private:
    explicit TerminationSignals(int readFd);
    QSocketNotifier *m_notifier;
};
