#pragma once

#include <QString>
#include <QStringList>

// The user's XDG base directories, where Linux programs keep their settings, data,
// caches and state.
//
// XDG_CONFIG_HOME, XDG_DATA_HOME, XDG_CACHE_HOME and XDG_STATE_HOME are honoured when
// set to absolute paths and no home override (--home) is in force; otherwise the
// folders are <home>/.config, <home>/.local/share, <home>/.cache and
// <home>/.local/state. XDG_DATA_DIRS (absolute entries only) defaults to
// /usr/local/share and /usr/share. Nothing is created. Callable from any thread.
class XdgDirectories
{
public:
    static QString configHome();
    static QString dataHome();
    static QString cacheHome();
    static QString stateHome();
    static QStringList dataDirs();

    // The data home of the user whose home directory is given (the Trash and the
    // user-domain Application Support folder live there).
    static QString dataHomeFor(const QString &home);
    // The rule for one base directory: the environment's value when absolute and the
    // home was not overridden (a relative value is invalid and ignored), else the
    // folder relative to the home.
    static QString resolve(const QString &home, const QString &relativeToHome, const QString &environmentValue,
                           bool homeOverridden);

private:
    static QString homeFolder(const char *variable, const char *relativeToHome);
};
