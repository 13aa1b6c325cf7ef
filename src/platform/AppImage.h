#pragma once

#include "DesktopEntry.h"

#include <QByteArray>
#include <QString>

#include <optional>

// The record of an AppImage: a single executable file made of an ELF program
// followed by a squashfs image whose root holds the application's desktop entry.
//
// It is read without ever running it: a regular file (not a link) with the ELF magic
// and the AppImage type 2 magic ("AI" 02 at bytes 8 to 10); the squashfs image starts
// where the ELF file ends (the end of its section header table) and must hold exactly
// one "*.desktop" entry at its root (a link to a file inside the image is followed).
// The desktop file id is that entry's name without ".desktop". AppImages are
// untrusted: reading is bounded (SquashfsImage, KeyFile) and a root name that is not
// a plain file name ("/", NUL, "." or "..") makes the file unreadable.
//
// An AppImage found in a Trash knows where it was before (its Trash info); elsewhere
// its original path is its path. A plain value; callable from any thread.
class AppImage
{
public:
    // The cheap test: a regular file, not a link, that starts with both magics.
    static bool isAppImageFile(const QString &path);
    static bool hasAppImageMagic(const QByteArray &header);

    // The AppImage at the path; nullopt when it is none or its identity cannot be read.
    static std::optional<AppImage> appImageWithPath(const QString &path);
    // The AppImage at the path as appImageWithPath() reads it when the file holds these
    // bytes, without touching the disk (for checks on untrusted files).
    static std::optional<AppImage> appImageWithData(const QString &path, const QByteArray &bytes);

    QString path() const { return m_sPath; }
    QString originalPath() const { return m_sOriginalPath; }
    QString desktopId() const { return m_sDesktopId; }
    DesktopEntry desktopEntry() const { return m_entry; }
    // Name; the desktop id when the entry has none.
    QString displayName() const;
    QString name() const { return m_entry.name(); }
    // The last component of Exec's program ("krita" for "usr/bin/krita %F").
    QString programName() const;
    QString icon() const { return m_entry.icon(); }
    QString startupWMClass() const { return m_entry.startupWMClass(); }

private:
    AppImage(QString path, QString desktopId, DesktopEntry entry);

    QString m_sPath;
    QString m_sOriginalPath;
    QString m_sDesktopId;
    DesktopEntry m_entry;
};
