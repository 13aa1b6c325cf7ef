#pragma once

#include <QString>

// The helper as a login item: an XDG autostart entry
// <config folder>/autostart/<bundle identifier>.desktop, written or removed.
class LoginItems
{
public:
    // The user's configuration folder: $XDG_CONFIG_HOME when it is an absolute path
    // and no home was given on the command line (as the Trash follows
    // $XDG_DATA_HOME), else <home>/.config.
    static QString configFolder(const QString &home, bool homeGiven, const QString &xdgConfigHome);
    static QString entryPath(const QString &configFolder, const QString &bundleIdentifier);
    static bool setEnabled(const QString &configFolder, const QString &bundleIdentifier, const QString &executable,
                           bool enabled);
    // Quotes a path for the Exec key of a desktop entry.
    static QString quotedExecArgument(const QString &argument);
};
