#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

#include <optional>

// One group of an XDG key file (a desktop entry's "Desktop Entry", a Trash info
// file's "Trash Info"): its keys with their values as written, escapes unresolved.
//
// Key files come from untrusted places, so the reading is bounded: files above
// kMaxSize bytes are refused, lines above kMaxLineLength bytes are skipped whole (a
// value is never cut), lines that are not a comment, a group header or a well-formed
// "key=value" are ignored. Later values of a key replace earlier ones. Text is UTF-8.
// Stateless; callable from any thread.
class KeyFile
{
public:
    static constexpr qsizetype kMaxSize = 256 * 1024;
    static constexpr qsizetype kMaxLineLength = 8 * 1024;

    // The keys of the group; nullopt when the file is too large or has no such group.
    static std::optional<QHash<QString, QString>> group(const QByteArray &data, QStringView groupName);

private:
    static bool isKey(QStringView key);
};
