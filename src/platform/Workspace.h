#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

// A running application: its process and the bundle its executable lies in.
struct RunningApplication
{
    qint64 pid = 0;
    QString executablePath;
    QString bundlePath;
};

// The desktop workspace: which applications are installed and running, and asking
// an application to open a file.
//
// Installed applications are the bundles found in the application folders
// ("/Applications" and <home>/Applications), at their top level and one folder
// below, never inside another bundle. Running applications are this user's
// processes whose executable lies in a bundle. Opening a file starts the
// application's executable, detached, with the file as its one argument.
class Workspace
{
public:
    // The system's applications folder, "/Applications" unless a test or sandbox
    // points it elsewhere (an empty path restores the default).
    static QString systemApplicationsFolder();
    static void setSystemApplicationsFolder(const QString &folder);
    // The system's folder, then <home>/Applications.
    static QStringList applicationFolders();

    static QStringList installedApplications(const QString &bundleIdentifier);
    static QString urlForApplicationWithBundleIdentifier(const QString &bundleIdentifier);
    static QList<RunningApplication> runningApplications(const QString &bundleIdentifier);

    // The application is a bundle path or an executable path. With a home override
    // (a sandbox), the application gets it as TARNWICK_HOME in its environment.
    static bool openFile(const QString &file, const QString &application);
    // Opens the URL with the desktop's opener (xdg-open), started detached.
    static bool openUrl(const QUrl &url);
    static bool isFilePackageAtPath(const QString &path);

private:
    // Started in the folder (none: the current one) with the environment of every
    // program this process starts.
    static bool startDetached(const QString &program, const QStringList &arguments, const QString &folder);
};
