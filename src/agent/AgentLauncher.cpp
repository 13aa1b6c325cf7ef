#include "AgentLauncher.h"

#include "AppDelegate.h"
#include "core/PathsGenerator.h"
#include "platform/MainThread.h"
#include "platform/OpenFileRequests.h"
#include "watching/AppsInTrashWatcher.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QTextStream>

namespace {

QVariantList asVariantList(const QStringList &files)
{
    QVariantList list;
    for (const QString &file : files)
        list.append(file);
    return list;
}

} // namespace

QStringList AgentLauncher::absolutePaths(const QStringList &files)
{
    QStringList absolute;
    for (const QString &file : files)
        absolute.append(QFileInfo(file).absoluteFilePath());
    return absolute;
}

bool AgentLauncher::handToRunningAgent(const QStringList &files)
{
    return OpenFileRequests::sendToRunningInstance(absolutePaths(files));
}

int AgentLauncher::run(const QStringList &files)
{
    OpenFileRequests requests;
    if (!requests.listen()) {
        QTextStream(stderr) << "Tarnwick Helper is already running for this user." << Qt::endl;
        return 0;
    }
    AppDelegate delegate;
    QObject::connect(&requests, &OpenFileRequests::filesOpened, &delegate,
                     [&delegate](const QStringList &opened) { delegate.application(nullptr, asVariantList(opened)); });
    QObject::connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, &delegate,
                     [&delegate] { delegate.applicationWillTerminate(); });

    delegate.applicationDidFinishLaunching();
    // A Trash that cannot be watched yet has been warned about on stderr.
    const bool watching = delegate.trashWatcher() && delegate.trashWatcher()->isWatching();
    QTextStream(stdout) << (watching ? "Tarnwick Helper is watching " : "Tarnwick Helper will watch ")
                        << PathsGenerator::GetInstance().buildTrashDirectory() << Qt::endl;
    if (!files.isEmpty()) {
        const QVariantList opened = asVariantList(absolutePaths(files));
        MainThread::async([&delegate, opened] { delegate.application(nullptr, opened); });
    }
    return QCoreApplication::exec();
}
