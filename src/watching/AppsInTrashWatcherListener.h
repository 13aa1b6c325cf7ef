#pragma once

class Bundle;

// Hears of the applications the user moved to the Trash.
class AppsInTrashWatcherListener
{
public:
    virtual ~AppsInTrashWatcherListener() = default;

    // An application bundle that arrived in the Trash and passed the vetting; main
    // thread. The same bundle may be reported more than once.
    virtual void onAppMovedToTrash(const Bundle &bundle) = 0;
};
