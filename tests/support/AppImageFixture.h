#pragma once

#include "ProgramRun.h"

#include <QDir>
#include <QFile>
#include <QMap>
#include <QTemporaryDir>
#include <QtEndian>

// AppImages made by the tests: a 64-bit ELF header (never run) whose section header
// table ends where a squashfs image, made by mksquashfs from the given files, begins.
namespace AppImageFixture {

// The ELF header and a table of one empty section header: the file ends at 128.
inline QByteArray elfHeader(char type = 2)
{
    QByteArray header(128, '\0');
    header.replace(0, 11, QByteArray("\x7F" "ELF\x02\x01\x01\0AI", 10) + type);
    qToLittleEndian<quint64>(64, header.data() + 0x28);
    qToLittleEndian<quint16>(64, header.data() + 0x3A);
    qToLittleEndian<quint16>(1, header.data() + 0x3C);
    return header;
}

// The bytes of an AppImage whose image holds the files (path in the image: contents;
// contents "-> target" make a symbolic link). Empty when mksquashfs failed.
inline QByteArray bytes(const QMap<QString, QByteArray> &files, const QString &compression = QStringLiteral("gzip"))
{
    QTemporaryDir work;
    const QString root = work.filePath(QStringLiteral("root"));
    QDir().mkpath(root);
    for (auto file = files.cbegin(); file != files.cend(); ++file) {
        const QString path = root + QLatin1Char('/') + file.key();
        QDir().mkpath(QFileInfo(path).path());
        QFile out(path);
        if (file->startsWith("-> "))
            QFile::link(QString::fromUtf8(file->mid(3)), path);
        else if (out.open(QIODevice::WriteOnly))
            out.write(*file);
    }
    const QString image = work.filePath(QStringLiteral("image"));
    const ProgramRun made = ProgramRun::of(QStringLiteral("mksquashfs"), {root, image, QStringLiteral("-root-owned"),
        QStringLiteral("-noappend"), QStringLiteral("-quiet"), QStringLiteral("-no-progress"), QStringLiteral("-nopad"),
        QStringLiteral("-comp"), compression});
    QFile in(image);
    return made.exitCode == 0 && in.open(QIODevice::ReadOnly) ? elfHeader() + in.readAll() : QByteArray();
}

inline QString write(const QString &path, const QByteArray &contents)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile out(path);
    if (out.open(QIODevice::WriteOnly))
        out.write(contents);
    return path;
}

// A desktop entry of the keys given as "Key=value" lines.
inline QByteArray desktopEntry(const QByteArray &lines)
{
    return "[Desktop Entry]\nType=Application\n" + lines;
}

} // namespace AppImageFixture
