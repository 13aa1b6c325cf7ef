#include "AgentLauncher.h"

#include "AgentLog.h"
#include "AppDelegate.h"
#include "core/PathsGenerator.h"
#include "platform/Delays.h"
#include "platform/InstanceLock.h"
#include "platform/MainThread.h"
#include "platform/OpenFileRequests.h"
#include "platform/TerminationSignals.h"
#include "watching/AppsInTrashWatcher.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QTextStream>
#include <QThread>

namespace {

// An agent that holds the lock may still be starting: a later start waits this long
// for it to answer.
constexpr qint64 kHandOverPatienceMs = 10000;
constexpr int kHandOverPauseMs = 100;

QVariantList asVariantList(const QStringList &files)
{
    QVariantList list;
    for (const QString &file : files)
        list.append(file);
    return list;
}

int cannotRun(const QString &reason)
{
    QTextStream(stderr) << "tarnwick-helper: cannot run: " << reason << Qt::endl;
    return AgentLauncher::kExitCannotRun;
}

} // namespace

QStringList AgentLauncher::absolutePaths(const QStringList &files)
{
    QStringList absolute;
    for (const QString &file : files)
        absolute.append(QFileInfo(file).absoluteFilePath());
    return absolute;
}

int AgentLauncher::start(int &argc, char **argv, const QStringList &files)
{
    const QStringList opened = absolutePaths(files);
    // The usual road of a command file: the main application opens it with the
    // helper, which runs already.
    if (!opened.isEmpty() && OpenFileRequests::sendToRunningInstance(opened))
        return 0;
    const QString lockPath = OpenFileRequests::lockPath();
    if (lockPath.isEmpty())
        return cannotRun(QStringLiteral("there is no runtime directory (XDG_RUNTIME_DIR) for the agent's socket"));
    // Taken before anything else, so that of two starts at once exactly one listens.
    InstanceLock lock(lockPath);
    switch (lock.state()) {
    case InstanceLock::State::HeldElsewhere:
        return handToRunningAgent(opened);
    case InstanceLock::State::Failed:
        return cannotRun(lock.errorString());
    case InstanceLock::State::Acquired:
        break;
    }
    // Qt's own event dispatcher, not GLib's: the agent waits on a few descriptors and
    // timers, and GLib's main context costs memory for nothing. Programs it starts
    // choose for themselves.
    const bool chosen = qEnvironmentVariableIsSet("QT_NO_GLIB");
    if (!chosen)
        qputenv("QT_NO_GLIB", "1");
    QCoreApplication app(argc, argv);
    if (!chosen)
        qunsetenv("QT_NO_GLIB");
    return run(lock, opened);
}

int AgentLauncher::handToRunningAgent(const QStringList &files)
{
    QElapsedTimer waited;
    waited.start();
    while (!OpenFileRequests::sendToRunningInstance(files)) {
        if (waited.elapsed() >= kHandOverPatienceMs)
            return cannotRun(QStringLiteral("another process holds %1 but no agent answers on %2")
                                 .arg(OpenFileRequests::lockPath(), OpenFileRequests::socketPath()));
        QThread::msleep(kHandOverPauseMs);
    }
    if (files.isEmpty())
        QTextStream(stderr) << "Tarnwick Helper is already running for this user." << Qt::endl;
    return 0;
}

int AgentLauncher::run(InstanceLock &lock, const QStringList &files)
{
    OpenFileRequests requests;
    if (!requests.listen(lock))
        return cannotRun(requests.errorString());
    TerminationSignals::install();
    AppDelegate delegate;
    QObject::connect(&requests, &OpenFileRequests::filesOpened, &delegate,
                     [&delegate](const QStringList &opened) { delegate.application(nullptr, asVariantList(opened)); });
    // Its lock file was deleted and a new start took the new one: that one serves now.
    QObject::connect(&requests, &OpenFileRequests::instanceLost, qApp, &QCoreApplication::quit);
    QObject::connect(qApp, &QCoreApplication::aboutToQuit, &delegate, [&delegate] { delegate.applicationWillTerminate(); });

    delegate.applicationDidFinishLaunching();
    // A Trash that cannot be watched yet has been warned about on stderr.
    const bool watching = delegate.trashWatcher() && delegate.trashWatcher()->isWatching();
    qCDebug(lcAgent) << (watching ? "watching" : "will watch") << PathsGenerator::GetInstance().buildTrashDirectory()
                     << "and listening on" << OpenFileRequests::socketPath();
    if (!files.isEmpty())
        MainThread::async([&delegate, opened = asVariantList(files)] { delegate.application(nullptr, opened); });
    return QCoreApplication::exec();
}
