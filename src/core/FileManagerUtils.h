#pragma once

#include <QString>

// File-manager conveniences: the Trash, locked files, temporary paths and existence
// tests that do not follow a final symbolic link.
class FileManagerUtils
{
public:
    // The user's Trash folder with "/" appended (it may not exist yet).
    static QString getTrashPath();
    static bool isFileLocked(const QString &path);
    // Whether the path lies inside the Trash (the Trash folder itself does not).
    static bool isFileInTrash(const QString &path);

    // A path in the temporary directory that does not exist yet; nothing is created.
    static QString getTempFilePathWithExt(const QString &extension = QString());
    // A fresh folder in the temporary directory (created) joined with the file name.
    static QString getTempFilePathWithFileName(const QString &fileName);

    static QString randomStringWithLength(int length);
    static QString randomStringWithLength(int length, const QString &alphabet);

    // Whether something exists at the path, a dangling symbolic link included.
    static bool fileExistsWithoutTraversingSymbolicLinkAtPath(const QString &path);
    // The same; the flag tells whether what exists (following links) is a directory.
    static bool fileExistsWithoutTraversingSymbolicLinkAtPath(const QString &path, bool *isDirectory);
    static bool isFileAtPathSymbolicLink(const QString &path);
};
