#pragma once

#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <optional>

// One path proposed for removal: the path, the kind of remains (0 to 17), the
// owning application's bundle identifier (always lower case) and, once known, its
// size in bytes.
class PathForRemove
{
public:
    static constexpr quint32 kMaxType = 17;

    // Nothing for a null path or identifier.
    static std::optional<PathForRemove> initWithPath(const QString &path, qint32 type, const QString &bundleId);
    // A record from one item of a watcher message; nothing when the item breaks a rule.
    static std::optional<PathForRemove> initFromDictionary(const QVariant &item);

    // The item of a watcher message: "type", "size" (only when calculated), "path",
    // "bundleId", every value a string.
    QVariantMap toDictionary() const;

    void setSize(quint64 size);
    quint64 getSize() const { return m_nSize; }
    bool isSizeCalculated() const { return m_bIsSizeCalculated; }
    // Whether nothing exists at the path any more (not following a final link).
    bool checkIsRemovedByUser() const;

    QString path() const { return _path; }
    qint32 type() const { return _type; }
    QString bundleId() const { return _bundleId; }

    friend bool operator==(const PathForRemove &, const PathForRemove &) = default;

private:
    PathForRemove(QString path, qint32 type, QString bundleId);

    QString _path;
    qint32 _type = 0;
    QString _bundleId;
    quint64 m_nSize = 0;
    bool m_bIsSizeCalculated = false;
};
