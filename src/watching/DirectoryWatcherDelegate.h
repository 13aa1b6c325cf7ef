#pragma once

#include <QString>

// Hears of the application bundles that arrive in a watched directory.
class DirectoryWatcherDelegate
{
public:
    virtual ~DirectoryWatcherDelegate() = default;

    // The absolute path of an application bundle that arrived; main thread. The same
    // path may come more than once (see DirectoryWatcher).
    virtual void onAddedAppWithPath(const QString &path) = 0;
};
