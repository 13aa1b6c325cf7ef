#pragma once

#include <QString>

struct stat;

// The per-user temporary directory: the user's runtime directory ($XDG_RUNTIME_DIR,
// or the private 0700 folder Qt makes in its place). Never a folder others can write.
class TemporaryDirectory
{
public:
    // The directory, without a trailing "/"; a null string when there is none.
    static QString path();
    // A private folder below it (created 0700 when missing). A null string when the
    // folder cannot be made, is not a directory, is not the user's own or can be
    // written by others.
    static QString privateFolder(const QString &name);
    // Whether an existing folder is one the helper may trust with its files.
    static bool isPrivateFolder(const QString &path);
    // The same test on a status already read (lstat, or fstat of an open folder).
    static bool isPrivateStatus(const struct stat &status);
};
