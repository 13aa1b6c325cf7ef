#pragma once

#include "DirectoryWatcherDelegate.h"
#include "platform/Bundle.h"

#include <QString>

#include <memory>
#include <optional>

class AppsInTrashWatcherListener;
class DirectoryWatcher;

// Watches the user's Trash and hands each application bundle that arrives there, once
// vetted, to its listener, and each file that arrives at its top with the AppImage
// magics. Those few bytes are read off the main thread ("AppImage arrival check"
// queue), as even a short read may stall; a file that is no regular file is not read.
//
// Threads: main thread only; the listener is called on the main thread. Ownership:
// owns its directory watcher; the listener is not owned and must outlive the watcher
// (it owns it). Do not destroy the watcher from inside onAppMovedToTrash.
class AppsInTrashWatcher : public DirectoryWatcherDelegate
{
public:
    explicit AppsInTrashWatcher(AppsInTrashWatcherListener *listener); // initWithListener
    ~AppsInTrashWatcher() override;
    AppsInTrashWatcher(const AppsInTrashWatcher &) = delete;
    AppsInTrashWatcher &operator=(const AppsInTrashWatcher &) = delete;

    // Starts over with a fresh view of the Trash (made first when the account has
    // none): what it holds now is not reported.
    void startWatching();
    // Whether the Trash is watched now (see DirectoryWatcher::isWatching).
    bool isWatching() const;
    void onAddedAppWithPath(const QString &path) override;
    void onAddedFileWithPath(const QString &path) override;

    // The bundle when the path is an application of its own (not inside another
    // bundle) with a bundle identifier that is not one of the two applications' own.
    static std::optional<Bundle> isReallyAppBundlePath(const QString &path);

private:
    AppsInTrashWatcherListener *m_pListener;
    std::unique_ptr<DirectoryWatcher> m_pTrashWatcher;
    // What the checks off the main thread hold weakly: gone with the watcher.
    std::shared_ptr<AppsInTrashWatcher *> m_pSelf;
};
