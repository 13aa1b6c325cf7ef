#include "HelperCommands.h"

#include "messaging/FileMessage.h"
#include "platform/OpenFileRequests.h"

#include <QFile>

bool HelperCommands::exclude(const QStringList &trashPaths)
{
    QVariantList paths;
    for (const QString &path : trashPaths)
        paths.append(path);
    return send(FileMessage::CreateMessageForHelperToExcludeRemovedPaths(paths));
}

bool HelperCommands::clear()
{
    return send(FileMessage::CreateMessageForHelperToCancelExcludeRemovedPaths());
}

bool HelperCommands::send(const FileMessage &message)
{
    const QString file = message.saveToFile();
    if (file.isNull())
        return false;
    if (OpenFileRequests::sendToRunningInstance({file}))
        return true;
    // No helper runs here to consume it.
    QFile::remove(file);
    return false;
}
