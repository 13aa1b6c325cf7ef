#pragma once

#include "AppImageLocations.h"
#include "AppImageRemains.h"
#include "platform/AppImage.h"

#include <QString>

#include <functional>
#include <optional>

// Whether an AppImage moved to the Trash deserves the offer to clean up after it, in
// the spirit of the bundle rules: it must be an AppImage whose identity can be read,
// not the main application's nor the helper's, and no other copy may be installed.
//
// The decision reads files (the AppImage, other AppImages, desktop entries, the
// remains), so it runs on its own serial queue, "AppImageDecision work queue"; the
// answer arrives on the main thread, as the bundle decision's ok block does.
class AppImageDecision
{
public:
    static constexpr qsizetype kMaxCandidatesPerFolder = 1024;

    // The vetting: the AppImage at the path, unless it cannot be read or its desktop
    // id is one of the two applications' identifiers (ignoring case).
    static std::optional<AppImage> isReallyAppImagePath(const QString &path);

    // Another copy is installed when an AppImage with the same desktop id lies at the
    // top of one of the AppImage folders, or when a desktop entry <id>.desktop in
    // <data>/applications or in one of $XDG_DATA_DIRS/applications starts a program
    // that exists (a path, or a name found in PATH) and is not the trashed file: a
    // system package or a Flatpak export means an update or a second copy, not a
    // removal.
    static bool isAnotherCopyInstalled(const AppImage &appImage, const AppImageLocations &locations);

    // Called on the main thread: vets the file at the path, looks for another copy and,
    // when none is installed, finds the remains, all off the main thread. The ok block
    // then gets them on the main thread; it is not called in any other case.
    static void calculateIsCanShowNotificationForAppImageAtPath(const QString &path,
                                                                std::function<void(const AppImageRemains &)> okBlock);
};
