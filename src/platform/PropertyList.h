#pragma once

#include <QByteArray>
#include <QMetaType>
#include <QString>
#include <QVariant>

#include <optional>

// A reference to another object of a keyed archive (a property-list UID).
struct PlistUid
{
    quint64 value = 0;
    friend bool operator==(PlistUid a, PlistUid b) { return a.value == b.value; }
};
Q_DECLARE_METATYPE(PlistUid)

// Property lists, XML and binary, read and written with libplist and presented as
// QVariant: dictionaries become QVariantMap, arrays QVariantList, strings QString,
// integers qint64, reals double, booleans bool, data QByteArray, dates QDateTime
// (UTC) and UIDs PlistUid. Input is untrusted: anything malformed, or nested deeper
// than kMaxDepth, reads as nothing.
class PropertyList
{
public:
    enum class Format { Binary, Xml };

    static constexpr int kMaxDepth = 128;
    static constexpr qint64 kMaxFileSize = 16 * 1024 * 1024;

    static std::optional<QVariant> fromData(const QByteArray &data);
    // Reads only a regular file (BoundedFile): a FIFO, socket or device reads as nothing,
    // without waiting on it.
    static std::optional<QVariant> fromFile(const QString &path);
    // The encoded list; empty when the value holds a type a property list cannot, or a
    // string or key with a NUL character (libplist would cut it short).
    static QByteArray toData(const QVariant &value, Format format);
};
