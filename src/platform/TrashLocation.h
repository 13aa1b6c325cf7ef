#pragma once

#include <QString>

// The user's Trash: the freedesktop home trash, <home>/.local/share/Trash, whose
// files/ folder holds the trashed items (what file managers use).
class TrashLocation
{
public:
    // <home>/.local/share/Trash/files, without creating anything.
    static QString filesDirectory(const QString &home);
    // The same, after creating files/ and info/ (mode 0700) when they are missing, as
    // a new account has no Trash until its first deletion. A null string when the
    // folder cannot be made.
    static QString ensureFilesDirectory(const QString &home);
};
