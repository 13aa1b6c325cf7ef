#pragma once

#include <QString>

// The user's Trash: the freedesktop home trash, <data home>/Trash, whose files/
// folder holds the trashed items (what file managers use). The data home is
// XdgDirectories': $XDG_DATA_HOME, else <home>/.local/share.
class TrashLocation
{
public:
    // <data home>/Trash/files, without creating anything.
    static QString filesDirectory(const QString &home);
    // The same, after creating files/ and info/ (mode 0700) when they are missing, as
    // a new account has no Trash until its first deletion. A null string when the
    // folder cannot be made.
    static QString ensureFilesDirectory(const QString &home);
};
