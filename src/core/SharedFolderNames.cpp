#include "SharedFolderNames.h"

#include <QSet>

bool SharedFolderNames::contains(const QString &name)
{
    static const QSet<QString> names{
        "applications", "appimagekit", "autostart", "backgrounds", "bin", "color", "dbus-1", "dconf",
        "desktop-directories", "environment.d", "flatpak", "fontconfig", "fonts", "gtk-2.0", "gtk-3.0", "gtk-4.0",
        "gvfs-metadata", "icons", "keyrings", "kdeglobals", "lib", "menus", "mime", "mimeapps.list", "pipewire",
        "pixmaps", "pulse", "recently-used.xbel", "share", "sounds", "state", "systemd", "themes", "thumbnails",
        "trash", "user-dirs.dirs", "user-dirs.locale", "user-places.xbel", "wireplumber", "xdg-desktop-portal"};
    return names.contains(name.toLower());
}

const QStringList &SharedFolderNames::iconExtensions()
{
    static const QStringList extensions{".png", ".svg", ".svgz", ".xpm"};
    return extensions;
}
