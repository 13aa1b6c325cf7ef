#pragma once

#include "core/PathForRemove.h"

#include <QString>
#include <QStringList>

// Which paths of a watcher message the main application may move into the Trash, and
// which Trash paths it may put back. A message is input from a file, so every path is
// judged by its text before anything is touched (the walk that then opens it,
// AnchoredParent, guards against links and swapped folders):
//
// - an absolute, plain path (no "." or ".." components, no empty ones, no NUL);
// - inside the home folder, never the home itself;
// - not holding the Trash, the Library, the Applications folder or one of the XDG
//   base folders (~/.config, ~/.local, ~/.local/share, ~/.local/state, ~/.cache, the
//   bin folders, and wherever the XDG variables point), nor lying in or holding the
//   main application's or a running helper's bundle;
// - not one of the Library's own folders (a remain lies at least two levels below
//   the Library, as Library/Caches/com.example.Foo);
// - not a folder of an XDG base folder that every program shares (SharedFolderNames),
//   nor inside one, except where an application's own files lie: desktop entries in
//   applications and autostart, icons (a file with an image extension, or at
//   <theme>/<size>/<context>/<file>) in icons, and MIME packages in mime/packages;
// - of a kind the remains finder produces, and an application for kind 0.
//
// A value; any thread.
class RemovalPolicy
{
public:
    // The XDG base folders given are protected as well as the home's own ones.
    RemovalPolicy(QString home, QString trashRoot, QStringList bundles, const QStringList &xdgBaseFolders = {});
    // The user's home and Trash, this program's bundle and the running helpers' ones.
    static RemovalPolicy forThisUser();

    // Why the path may not be touched, in words for the user; a null string when it may.
    QString refusalFor(const QString &path) const;
    // The same for an item of a message, its kind included.
    QString refusalFor(const PathForRemove &item) const;
    // Whether the path lies in the Trash already (the trashed application does).
    bool isInTrash(const QString &path) const;

    QString home() const { return m_home; }

private:
    QString sharedFolderRefusal(const QString &path) const;

    QString m_home;
    QString m_trashRoot;
    QString m_library;
    QStringList m_protectedFolders;
    QStringList m_baseFolders; // where settings, data, caches and state are kept
    QStringList m_bundles;
};
