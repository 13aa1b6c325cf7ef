#pragma once

#include "platform/ScopedDescriptor.h"

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>
#include <sys/types.h>

// The user's freedesktop home Trash as the main application uses it: its files/ and
// info/ folders held open, names reserved there, items moved in and taken out.
//
// A name is reserved the way the Trash's readers expect: info/<name>.trashinfo is
// created first with O_EXCL, so two programs trashing at once cannot pick the same
// name; the item then takes files/<name> with renameat2(RENAME_NOREPLACE), which
// never replaces anything. Moves are renames only: an item on another file system is
// not copied.
//
// One thread; owns its two descriptors.
class HomeTrash
{
public:
    // The Trash whose files/ folder is given (its info/ folder beside it); nothing
    // when either cannot be opened as a directory.
    static std::unique_ptr<HomeTrash> open(const QString &filesFolder);

    QString filesFolder() const { return m_filesFolder; }
    dev_t device() const { return m_device; }

    // A name free in files/ and info/ for the item ("name", else "name 2.ext", ...),
    // reserved by its .trashinfo (the original path, the time now); a null string
    // when no name could be reserved.
    QString reserve(const QString &name, const QString &originalPath);
    // Gives a reserved name up (removes its .trashinfo).
    void release(const QString &name);

    // Moves the item <folder>/<item> to files/<reserved>; 0, or the errno of the failure.
    int moveIn(int folder, const QByteArray &item, const QString &reserved);
    // Moves files/<name> to <folder>/<item> unless something is there; 0 or the errno.
    int takeOut(const QString &name, int folder, const QByteArray &item);
    // The text of info/<name>.trashinfo (a regular file of at most 64 KB).
    std::optional<QByteArray> readInfo(const QString &name) const;

private:
    HomeTrash(QString filesFolder, int files, int info, dev_t device);

    QString m_filesFolder;
    ScopedDescriptor m_files;
    ScopedDescriptor m_info;
    dev_t m_device;
};
