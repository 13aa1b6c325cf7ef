#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <optional>

// A command file of the main application to the helper: a keyed archive (see
// KeyedArchive) of a payload dictionary, {"command": "exclude-paths", "paths": [...]}
// or {"command": "clear-exclude-paths"}, in a file "random_<counter>-<seconds>.msgfortwhelp"
// of the shared message folder. The same class writes messages (the main application's
// side, and tarnwick-msg) and reads them (the helper's side).
//
// A value type, used on the main thread; the name counter is process-wide.
class FileMessage
{
public:
    // A message addressed to the helper.
    static constexpr qint64 kTypeForHelper = 1;
    // A message read from a file; its receiver is unknown.
    static constexpr qint64 kTypeLoaded = 0;

    // A message of the type with no payload.
    explicit FileMessage(qint64 type = kTypeLoaded);

    // {"command": "exclude-paths", "paths": the string elements, in order}.
    static FileMessage CreateMessageForHelperToExcludeRemovedPaths(const QVariantList &paths);
    // {"command": "clear-exclude-paths"}.
    static FileMessage CreateMessageForHelperToCancelExcludeRemovedPaths();
    // True for an "exclude-paths" command whose "paths" is an array; the string
    // elements of "paths" are then appended to the list when one is given.
    static bool ReadExcludePaths(QStringList *paths, const std::optional<FileMessage> &message);
    // True for a "clear-exclude-paths" command.
    static bool ReadCancelExcludeRemovedPathsFromMessage(const std::optional<FileMessage> &message);

    // Reads the file and deletes it, whatever it holds; a loaded message whose payload
    // is a dictionary, or nothing.
    static std::optional<FileMessage> loadFromFile(const QString &path);
    // A loaded message from the bytes of a command file, or nothing; nothing is deleted.
    static std::optional<FileMessage> fromData(const QByteArray &bytes);

    // Writes the payload into a new file of the message folder; its path, or a null
    // string when there is no payload, the type has no file extension, or the write fails.
    QString saveToFile() const;
    // Sends a message for the helper: saves it and opens it with the running helper.
    // Whether the open request was made.
    bool transmit() const;

    // The receiver's identifier and the file extension of the type; null for type 0.
    QString receiverAppBundleId() const;
    QString messageExtension() const;
    // The receiving application: the executable of its running instance; for the main
    // application also the copy that holds this helper, then the installed one. A null
    // string when there is none.
    QString getAppPathForMessage() const;
    // The path of the application that holds this process's bundle, when this process
    // is the helper and the identifier is the main application's; a null string otherwise.
    static QString findRelativeAppWithBundleId(const QString &bundleId);

    // A file name (not a path) free in the folder: getRandomString() + "." + extension.
    static QString createUniqueFileNameInFolder(const QString &folder, const QString &extension);
    static QString getRandomString();

    qint64 type() const { return _type; }
    // The payload; a null QVariant when there is none.
    QVariant data() const { return m_data; }
    void setData(const QVariant &data) { m_data = data; }

private:
    // The payload's "command" when the payload is a dictionary and it is a string.
    QString command() const;

    qint64 _type = kTypeLoaded;
    QVariant m_data;
};
