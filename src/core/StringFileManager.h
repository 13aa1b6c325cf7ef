#pragma once

#include <QString>

// Names of items on disk.
class StringFileManager
{
public:
    // The name shown for the item: its last path component.
    static QString getDisplayNameAtPath(const QString &path);
    // The last path component without its extension: /Applications/Foo Bar.app gives
    // "Foo Bar"; a leading dot starts a name, not an extension.
    static QString getDisplayNameWithoutExtension(const QString &path);
    // A name not yet taken in the folder: the name itself, else "name 2.ext",
    // "name 3.ext", ... (existence tested without following symbolic links).
    static QString getNameForCopiedFile(const QString &name, const QString &folder);
    // The candidate of that series for a counter of 2 or more: "name <counter>.ext".
    static QString nameWithCounter(const QString &name, long counter);
};
