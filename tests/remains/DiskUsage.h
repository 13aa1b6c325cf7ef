#pragma once

#include <QDirIterator>
#include <QFile>
#include <QString>

#include <sys/stat.h>

// An independent count of the space on disk the remains analysis should report: a file's
// own allocated blocks, or, for a folder, those of everything below it that is not a
// directory, without following symbolic links.
inline quint64 expectedAllocatedSize(const QString &path)
{
    const auto blocksOf = [](const QString &item) {
        struct stat status {};
        return ::lstat(QFile::encodeName(item).constData(), &status) == 0 && !S_ISDIR(status.st_mode) ? quint64(status.st_blocks) * 512 : 0;
    };
    struct stat top {};
    if (::stat(QFile::encodeName(path).constData(), &top) != 0)
        return 0;
    quint64 total = S_ISDIR(top.st_mode) ? 0 : blocksOf(path);
    QDirIterator it(path, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext())
        total += blocksOf(it.next());
    return total;
}
