#pragma once

#include <QString>

// The user's directories, computed once from the user database (or the home
// override of a sandbox) and answered from then on.
//
// The Trash is the freedesktop home trash (<data home>/Trash/files, the data home
// being $XDG_DATA_HOME or <home>/.local/share); looking paths up creates nothing.
class PathsGenerator
{
public:
    static PathsGenerator &GetInstance();

    QString userName() const { return m_sUserName; }
    QString getHomeDirectory() const { return m_sHomeDirectory; }
    QString buildTrashDirectory() const { return m_sUserTrashDirectory; }
    QString buildUserApplicationsDirectory() const { return m_sUserApplicationDirectory; }
    QString buildUserDownloadsDirectory() const { return m_sUserDownloadsDirectory; }
    QString buildUserLibraryDirectory() const { return m_sUserLibraryDirectory; }
    QString buildUserApplicationSupportDirectory() const { return m_sUserApplicationSupportDirectory; }
    QString buildUserPreferencePanesDirectory() const { return m_sUserPreferencePanesDirectory; }

    bool pathInTrash(const QString &path) const;
    // <XDG data home>/<helper bundle identifier>; nothing is created.
    QString buildApplicationFolderPathInApplicationSupport() const;
    // The previous folder joined with the name, created with its parents.
    QString buildFolderInApplicationSupportWithName(const QString &name) const;
    QString expandTildeInPath(const QString &path) const;

    static QString findUserName();
    static QString findHomeDirectory();
    // Path-component joining: "/Users/a" + "/Applications" is "/Users/a/Applications".
    static QString joinPath(const QString &base, const QString &component);

private:
    PathsGenerator();

    QString m_sUserName;
    QString m_sHomeDirectory;
    QString m_sUserApplicationDirectory;
    QString m_sUserTrashDirectory;
    QString m_sUserDownloadsDirectory;
    QString m_sUserLibraryDirectory;
    QString m_sUserApplicationSupportDirectory;
    QString m_sUserPreferencePanesDirectory;
};
