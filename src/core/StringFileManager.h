#pragma once

#include <QString>

// Names of items on disk.
class StringFileManager
{
public:
    // The name shown for the item: its last path component.
    static QString getDisplayNameAtPath(const QString &path);
    // A name not yet taken in the folder: the name itself, else "name 2.ext",
    // "name 3.ext", ... (existence tested without following symbolic links).
    static QString getNameForCopiedFile(const QString &name, const QString &folder);
};
