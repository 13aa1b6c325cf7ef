#pragma once

#include <QMap>
#include <QProcess>
#include <QString>

#include <numeric>

// Runs a program to its end and answers what it printed.
inline QByteArray outputOf(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(-1);
    return process.readAllStandardOutput();
}

// An independent count of the space on disk the size calculation must report, made by
// GNU find, which walks trees of any depth, and none of the helper's code: the
// allocated blocks of everything at or below the path that is not a directory, never
// following a symbolic link (the path's own included), each device and inode once.
inline quint64 expectedAllocatedSize(const QString &path)
{
    QMap<QByteArray, quint64> blocks; // by device and inode
    for (const QByteArray &line : outputOf("find", {path, "!", "-type", "d", "-printf", "%D:%i %b\\n"}).split('\n')) {
        if (const qsizetype space = line.indexOf(' '); space > 0)
            blocks.insert(line.left(space), line.mid(space + 1).toULongLong());
    }
    return std::accumulate(blocks.cbegin(), blocks.cend(), quint64(0)) * 512;
}
