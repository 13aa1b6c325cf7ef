#pragma once

#include <QProcessEnvironment>
#include <QString>

// The Qt platform the agent draws its notification on, chosen before the application
// object exists.
//
// The notification places itself at the top right of the screen and stays above the
// other windows. Wayland lets no client do either, so in a Wayland session that has
// XWayland (DISPLAY set) the agent runs as an X11 client, with Wayland as the
// fallback. Without XWayland it runs on Wayland (off screen when Qt has no Wayland
// plugin), and the compositor places the window. With no display at all it draws off
// screen: it has nothing to show until an application is trashed. A platform the
// user chose (QT_QPA_PLATFORM) is kept.
class DisplayPlatform
{
public:
    // The platform list for QT_QPA_PLATFORM; empty to keep the environment's choice.
    static QString choose(const QProcessEnvironment &environment);
    // Sets QT_QPA_PLATFORM of this process as choose() says.
    static void apply();
};
