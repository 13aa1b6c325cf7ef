#pragma once

#include <QString>
#include <QtGlobal>

// The space on disk of everything inside a folder, walked as fast as the kernel allows:
// directories are read relative to their parent's descriptor and every other entry is
// measured with one fstatat, without following links inside the tree.
//
// Directories add nothing themselves; a directory that reports a link count of 2 or more
// is not entered (on Linux directories report none, so every directory is walked).
// Unreadable entries are passed over. Stateless and safe to call from any thread.
class FolderSizeWalk
{
public:
    // Sum of st_blocks * 512 of the non-directories below the folder; a final symbolic
    // link of the folder path itself is followed. 0 when the folder cannot be opened.
    static quint64 allocatedSizeOfContents(const QString &folder);
};
