#pragma once

#include <QString>
#include <QStringList>
#include <QStringView>

#include <functional>

// The items below a folder, down to a depth, whose names pass a test: anything but a
// folder counts (files, links). Folders are entered without following links, and the
// walk is bounded (kMaxFolders folders read, kMaxEntries entries looked at), as the
// folders walked (icon themes) may be large and are written by any program.
// Stateless; callable from any thread.
class FolderWalk
{
public:
    static constexpr int kMaxFolders = 4096;
    static constexpr qsizetype kMaxEntries = 1 << 20;

    using NameTest = std::function<bool(QStringView name)>;

    // The paths of the matching items, sorted; the folder's own entries are depth 1.
    static QStringList itemsMatching(const QString &folder, int depth, const NameTest &test);
};
