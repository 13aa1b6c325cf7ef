#pragma once

class Bundle;

// Hears of the applications the user moved to the Trash: bundles and AppImages.
class AppsInTrashWatcherListener
{
public:
    virtual ~AppsInTrashWatcherListener() = default;

    // An application bundle that arrived in the Trash and passed the vetting; main
    // thread. The same bundle may be reported more than once.
    virtual void onAppMovedToTrash(const Bundle &bundle) = 0;
    // A file with the AppImage magics that arrived at the top of the Trash; main
    // thread. Its identity has not been read yet (AppImageDecision does).
    virtual void onAppImageMovedToTrash(const QString &path) { (void)path; }
};
