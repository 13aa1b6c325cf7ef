#pragma once

#include <QByteArray>
#include <QString>

#include <atomic>
#include <functional>
#include <optional>

// The folder and the files that carry messages between the helper and the main
// application: the shared folder, the "random_<counter>-<seconds>" names, atomic
// creation and bounded reading. Stateless; each message class keeps its own counter.
class MessageFiles
{
public:
    // Message files are small; anything larger is not one.
    static constexpr qint64 kMaxFileSize = 16 * 1024 * 1024;

    // The per-user temporary directory joined with the helper's bundle identifier,
    // created 0700 when missing; a null string when it cannot be made or is not private
    // (another owner, writable by others, not a directory).
    static QString folder();

    // Whole seconds since 1 January 2001 UTC, the reference date of the names.
    static quint64 secondsSinceReferenceDate();
    // "random_<counter>-<seconds>", the counter incremented before use (first value 1).
    static QString randomString(std::atomic<quint64> &counter);
    // randomString() followed by the suffix, drawn again until nothing is at that name
    // in the folder (a dangling symbolic link counts as something).
    static QString uniqueFileName(const QString &folder, const QString &suffix, std::atomic<quint64> &counter);

    // Creates the file with the bytes atomically (a temporary file renamed into place);
    // the path, or a null string when the write fails, the folder is not private (or
    // is a symbolic link) or something, a symbolic link included, is at the path.
    // Nothing is ever written through a link.
    static QString writeNewFile(const QString &path, const QByteArray &bytes);
    // The same under a name of uniqueFileName(), drawn again whenever another writer
    // takes the name first; the path, or a null string.
    static QString writeNewUniqueFile(const QString &folder, const QString &suffix, std::atomic<quint64> &counter,
                                      const QByteArray &bytes);
    // The content of a regular file of at most kMaxFileSize bytes; nothing for anything
    // else. Special files (a FIFO, a device) are refused without blocking on them.
    static std::optional<QByteArray> readFile(const QString &path);

private:
    // Writes the bytes into the folder under the first name nextName() gives that is
    // free at the rename; a null name ends the tries.
    static QString writeFile(const QString &folder, const QByteArray &bytes, const std::function<QString()> &nextName);
};
