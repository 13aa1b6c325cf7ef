#pragma once

#include <QString>

// The user's XDG data home, where the freedesktop Trash and the user-domain
// Application Support folder live: $XDG_DATA_HOME when it holds an absolute path (as
// desktops and file managers read it), else <home>/.local/share. A home given with
// --home (a sandbox) always uses <home>/.local/share, so that nothing of the real
// user's is watched or named.
class XdgDataHome
{
public:
    // The data home of the user whose home directory is given.
    static QString forHome(const QString &home);
    // The rule itself: the environment's value and whether the home was overridden.
    static QString resolve(const QString &home, const QString &environmentValue, bool homeOverridden);
};
