#pragma once

#include "AppImageLocations.h"
#include "core/PathForRemove.h"
#include "platform/AppImage.h"

#include <QList>
#include <QStringList>

// What an AppImage leaves behind when it is removed, found by reading the user's
// folders (callable off the main thread). Each record carries the desktop id as its
// identifier. In this order, every path at most once:
//
// 1. for each name x (the desktop id, Name, the program's name, StartupWMClass; each
//    once, case-sensitive, see probedNames()): <config>/x and <config>/xrc
//    (preferences), then <data>/x (application support), <cache>/x and <state>/x
//    (caches), folder by folder;
// 2. the desktop entries in <data>/applications and <config>/autostart whose Exec or
//    TryExec names the AppImage's original path (application support);
// 3. their icons under <data>/icons (any theme, size and context, or the path the
//    entry gives there), unless another desktop entry that stays (the user's, the
//    autostart ones, those of $XDG_DATA_DIRS) names the same icon;
// 4. the files desktop-integration tools name after the AppImage, "appimagekit_<md5>…"
//    with the MD5 of its original file URI, in <data>/applications, <data>/icons and
//    <data>/mime/packages (application support);
// 5. its portable-mode folders beside its original path, <original>.home
//    (application support) and <original>.config (preferences).
//
// Names from the AppImage are untrusted: a name probe never leads out of its folder,
// and names that would hit what every program shares (the Trash, the menus, icon
// themes, the desktop's own settings...) are never probed.
class AppImageRemains
{
public:
    static constexpr qsizetype kMaxDesktopEntries = 4096;

    static AppImageRemains find(const AppImage &appImage, const AppImageLocations &locations);

    AppImage appImage() const { return m_appImage; }
    // The remains, without the AppImage itself.
    QList<PathForRemove> records() const { return m_records; }

    // The names of step 1: usable ones only (not empty, no "/", no control character,
    // not "." or "..", at most 255 bytes, not a shared folder's name; the program's
    // name also not a generic launcher such as "AppRun" or "env").
    static QStringList probedNames(const AppImage &appImage);
    // "appimagekit_<md5>" for the file URI as GLib writes it (percent-encoded) and, if
    // it differs, for the plain "file://" + path that newer tools hash.
    static QStringList integrationPrefixes(const QString &originalPath);
    static QString fileUri(const QString &path);

private:
    AppImageRemains(AppImage appImage, QList<PathForRemove> records);

    AppImage m_appImage;
    QList<PathForRemove> m_records;
};
