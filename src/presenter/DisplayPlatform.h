#pragma once

#include <QProcessEnvironment>
#include <QString>

// The Qt platform the presenter draws the notification on, chosen before the
// application object exists.
//
// The notification places itself at the top right of the screen and stays above the
// other windows. Wayland lets no client do either, so in a Wayland session that has
// XWayland (DISPLAY set) the presenter runs as an X11 client, with Wayland as the
// fallback; without XWayland it runs on Wayland and the compositor places the window.
// Each list ends with the "minimal" platform, which Qt takes when none of the others
// can connect: the presenter then says it has no display instead of failing inside
// Qt. A platform the user chose (QT_QPA_PLATFORM) is kept.
class DisplayPlatform
{
public:
    // The platform list for QT_QPA_PLATFORM; empty to keep the environment's choice.
    static QString choose(const QProcessEnvironment &environment);
    // Sets QT_QPA_PLATFORM of this process as choose() says.
    static void apply();
    // Whether the platform Qt took shows windows to a person.
    static bool isDisplay(const QString &platformName);
};
