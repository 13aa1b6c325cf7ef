#pragma once

#include <QString>

// Whether a path lies in a folder, and the bundle a path lies in.
class ParentFolder
{
public:
    // True when the path starts with the folder, is longer, and has "/" right after
    // it: /a/b/c is in /a/b, /a/bc and /a/b itself are not.
    static bool isInFolder(const QString &path, const QString &folder);
    static QString parentBundlePath(const QString &path);
};
