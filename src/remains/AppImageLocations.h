#pragma once

#include <QString>
#include <QStringList>

// Where AppImages are kept and where they leave their remains, taken once on the
// main thread so that the searches off it read no shared state.
//
// AppImages are kept in <home>/Applications, <home>/.local/bin, <home>/bin and the
// system folder ("/opt" unless a test points it elsewhere), at their top level. The
// remains are in the XDG folders (XdgDirectories).
struct AppImageLocations
{
    QString configHome;
    QString dataHome;
    QString cacheHome;
    QString stateHome;
    QStringList dataDirs;
    QStringList appImageFolders;

    // Main thread, as all three: the user's paths are created there on first use, and
    // the queues off it get the locations as a copy.
    static AppImageLocations current();
    static QString systemFolder();
    // An empty path restores "/opt".
    static void setSystemFolder(const QString &folder);
};
