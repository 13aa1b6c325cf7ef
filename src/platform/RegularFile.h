#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// Reads files that come from untrusted places (a bundle in the Trash, an application
// folder) without ever waiting on them: only a regular file is read. A FIFO would block
// the open until a writer came and the read until it wrote; a socket or a device may
// block as well, or act on being opened. Such a path reads as nothing.
//
// Stateless and thread-safe.
class RegularFile
{
public:
    // The whole file when it is a regular file (symbolic links followed) of at most
    // maxSize bytes; nothing otherwise, or when it cannot be read.
    static std::optional<QByteArray> read(const QString &path, qint64 maxSize);
};
