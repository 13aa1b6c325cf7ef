#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// Reading files that come from untrusted places (Info.plists of bundles in the Trash
// or the application folders, desktop entries, Trash info files, AppImages) without
// ever waiting on them: only regular files, opened without blocking so that a FIFO or a
// device at the path cannot stall the caller, and never more than the caller allows.
//
// Stateless; callable from any thread.
class BoundedFile
{
public:
    enum class FinalLink { Follow, Refuse };

    // The contents of the regular file at the path when it holds at most maxSize bytes;
    // nullopt for anything else (missing, a folder, a FIFO, too large, unreadable).
    static std::optional<QByteArray> read(const QString &path, qint64 maxSize, FinalLink link = FinalLink::Follow);

    // The regular file at the path opened for reading (caller closes it), or -1.
    static int openRegularFile(const QString &path, FinalLink link);
};
