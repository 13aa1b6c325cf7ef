#pragma once

#include <QString>
#include <QtGlobal>

#include <functional>
#include <optional>

// The space on disk of a file or a folder, walked as fast as the kernel allows and
// never outside the item: a symbolic link, the item's own path included, is measured
// as the link and never followed. Directories are read relative to their parent's
// descriptor and every other entry is measured with one fstatat.
//
// What it adds up: the allocated bytes (st_blocks * 512) of everything at or below the
// item that is not a directory, each file once however many hard links to it the walk
// meets, each directory walked once. A directory that reports a link count of 2 or
// more is not entered (on Linux directories report none, so every directory is
// walked). Unreadable entries are passed over.
//
// The walk needs no recursion and no paths: it holds at most kDescriptorBudget
// directory descriptors at any depth (DirectoryBranch), and when the process runs out
// of descriptors it makes do with fewer. Stateless and safe to call from any thread.
class FolderSizeWalk
{
public:
    using IsCancelled = std::function<bool()>;
    static constexpr int kDescriptorBudget = 64;

    // 0 when nothing is at the path; nullopt when the walk was cancelled (asked before
    // each directory and each batch of entries read).
    static std::optional<quint64> allocatedSizeOfItem(const QString &path, const IsCancelled &isCancelled = {});
};
