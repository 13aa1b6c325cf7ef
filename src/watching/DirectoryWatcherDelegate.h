#pragma once

#include <QString>

// Hears of the application bundles and files that arrive in a watched directory.
class DirectoryWatcherDelegate
{
public:
    virtual ~DirectoryWatcherDelegate() = default;

    // The absolute path of an application bundle that arrived; main thread. The same
    // path may come more than once (see DirectoryWatcher).
    virtual void onAddedAppWithPath(const QString &path) = 0;
    // The absolute path of a file (not a folder, not a symbolic link) that arrived at
    // the top of the directory; main thread. Nothing is known of its contents.
    virtual void onAddedFileWithPath(const QString &path) { (void)path; }
};
