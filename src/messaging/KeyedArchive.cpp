#include "KeyedArchive.h"

#include "platform/PropertyList.h"

#include <QHash>
#include <QStringList>

#include <algorithm>
#include <vector>

namespace {

const QString kArchiverKey = QStringLiteral("$archiver");
const QString kArchiverName = QStringLiteral("NSKeyedArchiver");
const QString kVersionKey = QStringLiteral("$version");
constexpr qint64 kVersion = 100000;
const QString kTopKey = QStringLiteral("$top");
const QString kRootKey = QStringLiteral("root");
const QString kObjectsKey = QStringLiteral("$objects");
const QString kNull = QStringLiteral("$null");
const QString kClassKey = QStringLiteral("$class");
const QString kClassNameKey = QStringLiteral("$classname");
const QString kClassesKey = QStringLiteral("$classes");
const QString kKeysKey = QStringLiteral("NS.keys");
const QString kValuesKey = QStringLiteral("NS.objects");
const QString kStringKey = QStringLiteral("NS.string");

QVariant uid(quint64 index)
{
    return QVariant::fromValue(PlistUid{index});
}

bool isUid(const QVariant &value)
{
    return value.metaType() == QMetaType::fromType<PlistUid>();
}

bool isStringList(const QVariant &value)
{
    if (value.metaType().id() != QMetaType::QVariantList)
        return false;
    const QVariantList list = value.toList();
    return std::all_of(list.cbegin(), list.cend(),
                       [](const QVariant &item) { return item.metaType().id() == QMetaType::QString; });
}

// Writes objects in the order NSKeyedArchiver does: a container takes its UID before
// its contents (dictionary keys, then values), its class object comes after them;
// equal strings and each class are written once.
class Archiver
{
public:
    QByteArray archive(const QVariant &root)
    {
        const auto top = encode(root, 0);
        if (!top)
            return {};
        const QVariantMap archive{{kArchiverKey, kArchiverName},
                                  {kVersionKey, kVersion},
                                  {kTopKey, QVariantMap{{kRootKey, uid(*top)}}},
                                  {kObjectsKey, m_objects}};
        return PropertyList::toData(archive, PropertyList::Format::Binary);
    }

private:
    std::optional<quint64> encode(const QVariant &value, int depth)
    {
        if (depth > KeyedArchive::kMaxDepth)
            return std::nullopt;
        switch (value.metaType().id()) {
        case QMetaType::QVariantMap:
            return encodeDictionary(value.toMap(), depth);
        case QMetaType::QVariantList:
        case QMetaType::QStringList:
            return encodeArray(value.toList(), depth);
        case QMetaType::QString:
            return encodeString(value.toString());
        case QMetaType::Bool:
            return append(value.toBool());
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::LongLong:
        case QMetaType::ULongLong:
            return append(value.toLongLong());
        case QMetaType::Double:
        case QMetaType::Float:
            return append(value.toDouble());
        default:
            return std::nullopt;
        }
    }

    std::optional<quint64> encodeDictionary(const QVariantMap &map, int depth)
    {
        const quint64 slot = append(QVariant());
        QVariantList keys;
        for (const QString &key : map.keys())
            keys.append(uid(encodeString(key)));
        auto values = encodeAll(map.values(), depth);
        if (!values)
            return std::nullopt;
        const quint64 cls = encodeClass(QStringLiteral("NSDictionary"));
        m_objects[slot] = QVariantMap{{kKeysKey, keys}, {kValuesKey, *values}, {kClassKey, uid(cls)}};
        return slot;
    }

    std::optional<quint64> encodeArray(const QVariantList &list, int depth)
    {
        const quint64 slot = append(QVariant());
        auto values = encodeAll(list, depth);
        if (!values)
            return std::nullopt;
        const quint64 cls = encodeClass(QStringLiteral("NSArray"));
        m_objects[slot] = QVariantMap{{kValuesKey, *values}, {kClassKey, uid(cls)}};
        return slot;
    }

    std::optional<QVariantList> encodeAll(const QVariantList &values, int depth)
    {
        QVariantList references;
        for (const QVariant &value : values) {
            const auto reference = encode(value, depth + 1);
            if (!reference)
                return std::nullopt;
            references.append(uid(*reference));
        }
        return references;
    }

    quint64 encodeString(const QString &text)
    {
        auto found = m_strings.constFind(text);
        return found != m_strings.cend() ? *found : *m_strings.insert(text, append(text));
    }

    quint64 encodeClass(const QString &name)
    {
        auto found = m_classes.constFind(name);
        if (found != m_classes.cend())
            return *found;
        const QVariantMap cls{{kClassNameKey, name}, {kClassesKey, QStringList{name, QStringLiteral("NSObject")}}};
        return *m_classes.insert(name, append(cls));
    }

    quint64 append(const QVariant &object)
    {
        m_objects.append(object);
        return quint64(m_objects.size() - 1);
    }

    QVariantList m_objects{kNull};
    QHash<QString, quint64> m_strings;
    QHash<QString, quint64> m_classes;
};

// Reads objects by UID. Nesting is bounded by the depth limit, the total work by a
// budget of values and one of text, and an object met again while it is being read is
// a cycle.
class Unarchiver
{
public:
    explicit Unarchiver(const QVariantList &objects)
        : m_objects(objects)
        , m_inProgress(size_t(objects.size()), false)
    {
    }

    std::optional<QVariant> decode(const QVariant &reference, int depth)
    {
        const auto index = indexOf(reference);
        if (!index || depth > KeyedArchive::kMaxDepth || --m_budget < 0 || m_inProgress[*index])
            return std::nullopt;
        const QVariant &object = m_objects.at(qsizetype(*index));
        switch (object.metaType().id()) {
        case QMetaType::QString:
            return spendText(object);
        case QMetaType::LongLong:
        case QMetaType::Double:
        case QMetaType::Bool:
            return object;
        case QMetaType::QVariantMap: {
            m_inProgress[*index] = true;
            auto value = decodeObject(object.toMap(), depth);
            m_inProgress[*index] = false;
            return value;
        }
        default:
            return std::nullopt;
        }
    }

private:
    enum class Kind { Dictionary, Array, String };

    // The index a UID refers to; never the "$null" placeholder.
    std::optional<size_t> indexOf(const QVariant &reference) const
    {
        if (!isUid(reference))
            return std::nullopt;
        const quint64 index = reference.value<PlistUid>().value;
        if (index == 0 || index >= quint64(m_objects.size()))
            return std::nullopt;
        return size_t(index);
    }

    std::optional<Kind> kindOf(const QVariantMap &object) const
    {
        const auto index = indexOf(object.value(kClassKey));
        if (!index)
            return std::nullopt;
        const QVariant &cls = m_objects.at(qsizetype(*index));
        if (cls.metaType().id() != QMetaType::QVariantMap)
            return std::nullopt;
        const QVariant name = cls.toMap().value(kClassNameKey);
        if (name.metaType().id() != QMetaType::QString || !isStringList(cls.toMap().value(kClassesKey)))
            return std::nullopt;
        static const QHash<QString, Kind> kinds{
            {QStringLiteral("NSDictionary"), Kind::Dictionary}, {QStringLiteral("NSMutableDictionary"), Kind::Dictionary},
            {QStringLiteral("NSArray"), Kind::Array},           {QStringLiteral("NSMutableArray"), Kind::Array},
            {QStringLiteral("NSString"), Kind::String},         {QStringLiteral("NSMutableString"), Kind::String},
        };
        const auto found = kinds.constFind(name.toString());
        return found == kinds.cend() ? std::nullopt : std::optional<Kind>(*found);
    }

    std::optional<QVariant> decodeObject(const QVariantMap &object, int depth)
    {
        const auto kind = kindOf(object);
        if (!kind)
            return std::nullopt;
        if (*kind == Kind::String) {
            const QVariant text = object.value(kStringKey);
            return text.metaType().id() == QMetaType::QString ? spendText(text) : std::nullopt;
        }
        const auto values = decodeAll(object.value(kValuesKey), depth + 1);
        if (*kind == Kind::Array || !values)
            return values ? std::optional<QVariant>(*values) : std::nullopt;
        const auto keys = decodeAll(object.value(kKeysKey), depth + 1);
        if (!keys || keys->size() != values->size())
            return std::nullopt;
        QVariantMap map;
        for (qsizetype i = 0; i < keys->size(); ++i) {
            if (keys->at(i).metaType().id() != QMetaType::QString)
                return std::nullopt;
            map.insert(keys->at(i).toString(), values->at(i));
        }
        return map;
    }

    std::optional<QVariant> spendText(const QVariant &text)
    {
        m_textBudget -= text.toString().size();
        return m_textBudget < 0 ? std::nullopt : std::optional<QVariant>(text);
    }

    std::optional<QVariantList> decodeAll(const QVariant &references, int depth)
    {
        if (references.metaType().id() != QMetaType::QVariantList)
            return std::nullopt;
        QVariantList values;
        for (const QVariant &reference : references.toList()) {
            auto value = decode(reference, depth);
            if (!value)
                return std::nullopt;
            values.append(std::move(*value));
        }
        return values;
    }

    const QVariantList &m_objects;
    std::vector<bool> m_inProgress;
    qint64 m_budget = KeyedArchive::kMaxValues;
    qint64 m_textBudget = KeyedArchive::kMaxTextCharacters;
};

} // namespace

QByteArray KeyedArchive::archivedDataWithRootObject(const QVariant &root)
{
    return Archiver().archive(root);
}

std::optional<QVariant> KeyedArchive::unarchiveObjectWithData(const QByteArray &data)
{
    const auto plist = PropertyList::fromData(data);
    if (!plist || plist->metaType().id() != QMetaType::QVariantMap)
        return std::nullopt;
    const QVariantMap archive = plist->toMap();
    const QVariant archiver = archive.value(kArchiverKey);
    const QVariant version = archive.value(kVersionKey);
    const QVariant top = archive.value(kTopKey);
    const QVariant objects = archive.value(kObjectsKey);
    if (archiver.metaType().id() != QMetaType::QString || archiver.toString() != kArchiverName ||
        version.metaType().id() != QMetaType::LongLong || version.toLongLong() != kVersion ||
        top.metaType().id() != QMetaType::QVariantMap || objects.metaType().id() != QMetaType::QVariantList)
        return std::nullopt;
    const QVariantList list = objects.toList();
    if (list.isEmpty() || list.first().metaType().id() != QMetaType::QString || list.first().toString() != kNull)
        return std::nullopt;
    return Unarchiver(list).decode(top.toMap().value(kRootKey), 0);
}
