#pragma once

#include <QByteArray>
#include <QVariant>

#include <optional>

// Keyed archives in the structure Cocoa's NSKeyedArchiver writes, as binary property
// lists: {"$archiver": "NSKeyedArchiver", "$version": 100000, "$top": {"root": UID},
// "$objects": ["$null", ...]}, where objects refer to each other by UID, a dictionary
// is {"NS.keys": [UID...], "NS.objects": [UID...], "$class": UID}, an array
// {"NS.objects": [UID...], "$class": UID}, and a class {"$classname", "$classes"}.
//
// Values are QVariant: QVariantMap (string keys), QVariantList, QString, qint64,
// double and bool. Stateless and thread-safe.
class KeyedArchive
{
public:
    // Containers nested deeper than this are refused both ways.
    static constexpr int kMaxDepth = 32;
    // Values a read may produce in all; an object referred to twice counts twice.
    static constexpr qint64 kMaxValues = 1 << 18;
    // Characters of text a read may produce in all, a string referred to twice counted
    // twice: whoever uses the values copies each of them.
    static constexpr qint64 kMaxTextCharacters = 8 << 20;

    // The archive of the value (dictionaries as NSDictionary, arrays as NSArray, strings
    // and numbers inline); empty when the value holds anything else or nests too deep.
    static QByteArray archivedDataWithRootObject(const QVariant &root);

    // The root object of an archive. Reads dictionaries and arrays (mutable or not),
    // strings (inline or NSString/NSMutableString objects with "NS.string") and
    // numbers. Nothing for anything else: other classes, missing or mistyped entries,
    // UIDs out of range, reference cycles, nesting or size beyond the limits.
    static std::optional<QVariant> unarchiveObjectWithData(const QByteArray &data);
};
