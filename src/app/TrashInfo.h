#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <optional>

// The ".trashinfo" file of the freedesktop Trash that records where a trashed item
// came from:
//
//     [Trash Info]
//     Path=/home/a/Library/Caches/com.example.Foo     (percent-encoded, absolute)
//     DeletionDate=2024-05-01T09:30:00                 (local time)
//
// Pure text functions; the texts read back come from the Trash, which anyone's
// program of this user may have written, so the reader checks what it takes.
class TrashInfo
{
public:
    static QByteArray compose(const QString &originalPath, const QDateTime &deletionDate);
    // The absolute original path of a .trashinfo text; nothing when the text is not one.
    static std::optional<QString> originalPath(const QByteArray &text);
};
