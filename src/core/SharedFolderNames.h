#pragma once

#include <QString>
#include <QStringList>

// The folders and files of the XDG base folders (settings, data, caches, state) that
// belong to every program rather than to one application: "applications", "icons",
// "autostart", "mime", "Trash", "systemd"… A clean-up never offers or moves one of
// them as a whole, whatever an application calls itself.
//
// Names are compared ignoring case. Callable from any thread.
class SharedFolderNames
{
public:
    static bool contains(const QString &name);
    // The extensions of the icon files an application keeps in the shared "icons"
    // folder: ".png", ".svg", ".svgz", ".xpm".
    static const QStringList &iconExtensions();
};
