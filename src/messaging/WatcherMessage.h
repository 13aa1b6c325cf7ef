#pragma once

#include "core/PathForRemove.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <optional>

// The watcher message, version 2: the paths the helper proposes for removal, handed to
// the main application as a file "random_<counter>-<seconds>.trfortw" of the shared
// message folder. The file is UTF-8 text: the header line
// "---=== Tarnwick Watcher Message v2 ===---", "\n", then compact JSON
// {"items": [{"type", "size" (only when calculated), "path", "bundleId"}...]} with
// every value a string.
//
// A value type, used on the main thread; the name counter is process-wide and separate
// from the command files' one.
class WatcherMessage
{
public:
    void setPathsForRemove(const QList<PathForRemove> &paths) { m_arrObjs = paths; }
    QList<PathForRemove> getPathsForRemove() const { return m_arrObjs; }

    static QString getProtocolName2();

    // Writes the message into a new file of the message folder; its path, or a null
    // string when the folder or the write fails.
    QString saveForTransmit() const;
    // Reads a message file; on success the list is replaced and the file deleted. A
    // file that fails, one without a valid item included, is left in place.
    bool loadFromPath(const QString &path);
    // The records of a message file's bytes: the header line, then a JSON object whose
    // "items" yield at least one valid record (invalid items are skipped). Nothing
    // otherwise; nothing is deleted.
    static std::optional<QList<PathForRemove>> fromData(const QByteArray &bytes);
    // {"items": [...]}, the JSON of the file.
    QJsonObject toJson() const;

    // A file name (not a path) free in the folder: getRandomString() + the suffix.
    static QString createUniqueFileNameInFolder(const QString &folder, const QString &suffix);
    static QString getRandomString();

private:
    QList<PathForRemove> m_arrObjs;
};
