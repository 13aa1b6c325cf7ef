#pragma once

#include <QString>
#include <QtGlobal>

#include <optional>
#include <sys/stat.h>

// File attributes as the helper's logic asks for them, answered with stat/lstat.
//
// The one rule that differs from a plain reading of stat: a directory has no link
// count. Linux directories cannot be hard-linked and their st_nlink counts their
// sub-directories, which is not what the "link count of 2 or more" rules of the tree
// and the size walk mean; reporting it would make every directory a leaf.
class FileAttributes
{
public:
    enum class ResourceType { Unknown, Regular, Directory, SymbolicLink, Other };
    // Which item a path leads to: it stays the same while the item is renamed and
    // changes when another item takes its place.
    struct Identity
    {
        quint64 device = 0;
        quint64 inode = 0;
        bool operator==(const Identity &) const = default;
    };

    // Something exists at the path, following a final symbolic link (stat).
    static bool exists(const QString &path);
    // Something exists at the path itself, a dangling symbolic link included (lstat).
    static bool existsNoFollow(const QString &path);
    // The path is a directory, following a final symbolic link.
    static bool isDirectory(const QString &path);
    static bool isSymbolicLink(const QString &path);
    // The identity of the directory the path leads to (following links); nullopt
    // when there is none.
    static std::optional<Identity> directoryIdentity(const QString &path);
    // The type of the item itself, not of a link's target; Unknown when it is missing.
    static ResourceType resourceType(const QString &path);
    // Space on disk of the item itself (st_blocks * 512); nullopt when it is missing.
    static std::optional<quint64> allocatedSize(const QString &path);
    // Hard-link count of the item itself; nullopt for directories and missing items.
    static std::optional<quint64> linkCount(const QString &path);
    // The immutable flag (chattr +i); false when it cannot be read.
    static bool isImmutable(const QString &path);

    // The same rules applied to a stat record the caller already holds.
    static ResourceType resourceTypeOf(const struct stat &status);
    static quint64 allocatedSizeOf(const struct stat &status);
    static std::optional<quint64> linkCountOf(const struct stat &status);
};
