#pragma once

#include <QByteArray>
#include <QString>

// Where a trashed item was before it was trashed: the "Path" of its Trash info file,
// <trash>/info/<name>.trashinfo beside <trash>/files/<name> (the freedesktop Trash).
//
// Info files are untrusted: the path must be absolute once decoded (a relative path
// counts from the top of the volume, the folder that holds the trash), percent
// decoding must not yield a NUL, and the file is read within KeyFile's bounds.
// Stateless; callable from any thread.
class TrashInfo
{
public:
    // A null string when the item is not in a trash's files folder or its info file
    // cannot be read.
    static QString originalPathOf(const QString &trashedPath);
    // The path an info file's contents give, relative ones resolved against the folder.
    static QString originalPathFrom(const QByteArray &trashInfo, const QString &topDirectory);
};
