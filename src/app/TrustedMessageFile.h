#pragma once

#include "core/PathForRemove.h"

#include <QList>
#include <QString>

#include <optional>

// Loads a watcher message handed to the main application, with the rules of the
// project's loader (WatcherMessage::fromData), once the file has shown that the
// user's own programs wrote it: a regular file (not a link, FIFO or device) owned by
// the user, of at most MessageFiles::kMaxFileSize bytes, in a folder of the user (or
// of root) that others cannot write to, so that nobody else can have put it there or
// swap it. Everything is read through descriptors: the folder's, then the file's,
// opened without following a link.
//
// A file that loads is consumed (deleted); any other is left alone.
class TrustedMessageFile
{
public:
    // The records; nothing, with the reason in *why, when the file is refused or does
    // not load.
    static std::optional<QList<PathForRemove>> load(const QString &path, QString *why);
};
