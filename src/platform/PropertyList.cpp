#include "PropertyList.h"

#include "PropertyListGuard.h"
#include "BoundedFile.h"

#include <QDateTime>
#include <QTimeZone>

#include <plist/plist.h>

#include <cstdlib>
#include <memory>

namespace {

// Seconds between the Unix epoch and 1 January 2001, the property-list date origin.
constexpr qint64 kReferenceDateOffset = 978307200;

struct PlistDeleter
{
    void operator()(void *node) const { plist_free(static_cast<plist_t>(node)); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

std::optional<QVariant> toVariant(plist_t node, int depth);

// Walked with an iterator: on a parsed array, plist_array_get_item walks the items
// from the first each time, which makes long arrays quadratic.
std::optional<QVariant> arrayToVariant(plist_t node, int depth)
{
    QVariantList list;
    list.reserve(plist_array_get_size(node));
    plist_array_iter iter = nullptr;
    plist_array_new_iter(node, &iter);
    if (!iter)
        return std::nullopt;
    for (;;) {
        plist_t child = nullptr;
        plist_array_next_item(node, iter, &child);
        if (!child)
            break;
        auto item = toVariant(child, depth + 1);
        if (!item) {
            std::free(iter);
            return std::nullopt;
        }
        list.append(std::move(*item));
    }
    std::free(iter);
    return QVariant(list);
}

std::optional<QVariant> dictToVariant(plist_t node, int depth)
{
    QVariantMap map;
    plist_dict_iter iter = nullptr;
    plist_dict_new_iter(node, &iter);
    if (!iter)
        return std::nullopt;
    bool ok = true;
    for (;;) {
        char *key = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(node, iter, &key, &value);
        if (!value) {
            std::free(key);
            break;
        }
        auto item = toVariant(value, depth + 1);
        const QString name = key ? QString::fromUtf8(key) : QString();
        std::free(key);
        if (!item) {
            ok = false;
            break;
        }
        map.insert(name, std::move(*item));
    }
    std::free(iter);
    return ok ? std::optional<QVariant>(QVariant(map)) : std::nullopt;
}

std::optional<QVariant> scalarToVariant(plist_t node)
{
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        uint8_t value = 0;
        plist_get_bool_val(node, &value);
        return QVariant(value != 0);
    }
    case PLIST_UINT: {
        uint64_t value = 0;
        plist_get_uint_val(node, &value);
        return QVariant(static_cast<qint64>(value));
    }
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        return QVariant(value);
    }
    case PLIST_STRING: {
        uint64_t length = 0;
        const char *text = plist_get_string_ptr(node, &length);
        return QVariant(text ? QString::fromUtf8(text, static_cast<qsizetype>(length)) : QStringLiteral(""));
    }
    case PLIST_DATA: {
        char *bytes = nullptr;
        uint64_t length = 0;
        plist_get_data_val(node, &bytes, &length);
        QByteArray data(bytes, static_cast<qsizetype>(length));
        std::free(bytes);
        return QVariant(data);
    }
    case PLIST_DATE: {
        int32_t sec = 0;
        int32_t usec = 0;
        plist_get_date_val(node, &sec, &usec);
        const qint64 msecs = (kReferenceDateOffset + sec) * 1000 + usec / 1000;
        return QVariant(QDateTime::fromMSecsSinceEpoch(msecs, QTimeZone::utc()));
    }
    case PLIST_UID: {
        uint64_t value = 0;
        plist_get_uid_val(node, &value);
        return QVariant::fromValue(PlistUid{value});
    }
    default:
        return std::nullopt;
    }
}

std::optional<QVariant> toVariant(plist_t node, int depth)
{
    if (!node || depth > PropertyList::kMaxDepth)
        return std::nullopt;
    switch (plist_get_node_type(node)) {
    case PLIST_ARRAY:
        return arrayToVariant(node, depth);
    case PLIST_DICT:
        return dictToVariant(node, depth);
    default:
        return scalarToVariant(node);
    }
}

plist_t fromVariant(const QVariant &value, int depth);

plist_t listFromVariant(const QVariantList &list, int depth)
{
    PlistPtr array(plist_new_array());
    for (const QVariant &item : list) {
        plist_t node = fromVariant(item, depth + 1);
        if (!node)
            return nullptr;
        plist_array_append_item(static_cast<plist_t>(array.get()), node);
    }
    return static_cast<plist_t>(array.release());
}

// libplist takes strings and keys as C strings: one holding a NUL character would be
// written cut short, so it is refused instead.
bool isWritableText(const QString &text)
{
    return !text.contains(QChar(u'\0'));
}

plist_t mapFromVariant(const QVariantMap &map, int depth)
{
    PlistPtr dict(plist_new_dict());
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        plist_t node = isWritableText(it.key()) ? fromVariant(it.value(), depth + 1) : nullptr;
        if (!node)
            return nullptr;
        plist_dict_set_item(static_cast<plist_t>(dict.get()), it.key().toUtf8().constData(), node);
    }
    return static_cast<plist_t>(dict.release());
}

plist_t dateFromVariant(const QDateTime &date)
{
    const qint64 msecs = date.toMSecsSinceEpoch() - kReferenceDateOffset * 1000;
    const qint64 sec = msecs >= 0 ? msecs / 1000 : (msecs - 999) / 1000;
    return plist_new_date(static_cast<int32_t>(sec), static_cast<int32_t>((msecs - sec * 1000) * 1000));
}

plist_t fromVariant(const QVariant &value, int depth)
{
    if (depth > PropertyList::kMaxDepth)
        return nullptr;
    if (value.metaType() == QMetaType::fromType<PlistUid>())
        return plist_new_uid(value.value<PlistUid>().value);
    switch (value.metaType().id()) {
    case QMetaType::Bool:
        return plist_new_bool(value.toBool() ? 1 : 0);
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Long:
    case QMetaType::ULong:
        return plist_new_uint(static_cast<uint64_t>(value.toLongLong()));
    case QMetaType::Double:
    case QMetaType::Float:
        return plist_new_real(value.toDouble());
    case QMetaType::QString:
        return isWritableText(value.toString()) ? plist_new_string(value.toString().toUtf8().constData()) : nullptr;
    case QMetaType::QByteArray: {
        const QByteArray data = value.toByteArray();
        return plist_new_data(data.constData(), static_cast<uint64_t>(data.size()));
    }
    case QMetaType::QDateTime:
        return dateFromVariant(value.toDateTime());
    case QMetaType::QStringList:
    case QMetaType::QVariantList:
        return listFromVariant(value.toList(), depth);
    case QMetaType::QVariantMap:
        return mapFromVariant(value.toMap(), depth);
    default:
        return nullptr;
    }
}

} // namespace

std::optional<QVariant> PropertyList::fromData(const QByteArray &data)
{
    if (data.isEmpty() || data.size() > kMaxFileSize || !PropertyListGuard::isSafeToParse(data, kMaxDepth))
        return std::nullopt;
    plist_t root = nullptr;
    plist_from_memory(data.constData(), static_cast<uint32_t>(data.size()), &root);
    PlistPtr owner(root);
    return toVariant(root, 0);
}

std::optional<QVariant> PropertyList::fromFile(const QString &path)
{
    const auto data = BoundedFile::read(path, kMaxFileSize);
    return data ? fromData(*data) : std::nullopt;
}

QByteArray PropertyList::toData(const QVariant &value, Format format)
{
    PlistPtr root(fromVariant(value, 0));
    if (!root)
        return {};
    char *bytes = nullptr;
    uint32_t length = 0;
    QByteArray data;
    if (format == Format::Binary) {
        plist_to_bin(static_cast<plist_t>(root.get()), &bytes, &length);
        data = QByteArray(bytes, static_cast<qsizetype>(length));
        plist_to_bin_free(bytes);
    } else {
        plist_to_xml(static_cast<plist_t>(root.get()), &bytes, &length);
        data = QByteArray(bytes, static_cast<qsizetype>(length));
        plist_to_xml_free(bytes);
    }
    return data;
}
