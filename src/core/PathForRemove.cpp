#include "PathForRemove.h"

#include "FileManagerUtils.h"

#include <limits>

namespace {

bool isNumberOrString(const QVariant &value)
{
    switch (value.metaType().id()) {
    case QMetaType::QString:
    case QMetaType::Bool: // a JSON true/false is a number to the main application's reader
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
        return true;
    default:
        return false;
    }
}

// The leading integer of a text, as a number reader of the main application reads
// it: white space skipped, an optional sign, then digits; no digits give 0, too many
// saturate.
qint64 leadingInteger(const QString &text)
{
    qsizetype i = 0;
    while (i < text.size() && text.at(i).isSpace())
        ++i;
    bool negative = false;
    if (i < text.size() && (text.at(i) == QLatin1Char('-') || text.at(i) == QLatin1Char('+')))
        negative = text.at(i++) == QLatin1Char('-');
    qint64 value = 0;
    constexpr qint64 kMax = std::numeric_limits<qint64>::max();
    for (; i < text.size() && text.at(i).isDigit() && text.at(i).unicode() < 128; ++i) {
        const int digit = text.at(i).unicode() - '0';
        if (value > (kMax - digit) / 10)
            return negative ? std::numeric_limits<qint64>::min() : kMax;
        value = value * 10 + digit;
    }
    return negative ? -value : value;
}

qint64 longLongValue(const QVariant &value)
{
    switch (value.metaType().id()) {
    case QMetaType::QString:
        return leadingInteger(value.toString());
    case QMetaType::Double: {
        const double number = value.toDouble();
        if (!(number == number))
            return 0;
        if (number >= 9.2e18)
            return std::numeric_limits<qint64>::max();
        if (number <= -9.2e18)
            return std::numeric_limits<qint64>::min();
        return static_cast<qint64>(number);
    }
    default:
        return value.toLongLong();
    }
}

} // namespace

PathForRemove::PathForRemove(QString path, qint32 type, QString bundleId)
    : _path(std::move(path))
    , _type(type)
    , _bundleId(std::move(bundleId))
{
}

std::optional<PathForRemove> PathForRemove::initWithPath(const QString &path, qint32 type, const QString &bundleId)
{
    if (path.isNull() || bundleId.isNull())
        return std::nullopt;
    return PathForRemove(path, type, bundleId.toLower());
}

std::optional<PathForRemove> PathForRemove::initFromDictionary(const QVariant &item)
{
    if (item.metaType().id() != QMetaType::QVariantMap)
        return std::nullopt;
    const QVariantMap map = item.toMap();
    const QVariant type = map.value(QStringLiteral("type"));
    const QVariant size = map.value(QStringLiteral("size"));
    const QVariant path = map.value(QStringLiteral("path"));
    const QVariant bundleId = map.value(QStringLiteral("bundleId"));
    if (!isNumberOrString(type) || (map.contains(QStringLiteral("size")) && !isNumberOrString(size)))
        return std::nullopt;
    if (path.metaType().id() != QMetaType::QString || bundleId.metaType().id() != QMetaType::QString)
        return std::nullopt;
    // The kind is the low 32 bits of the number, read as unsigned.
    const auto kind = static_cast<quint32>(static_cast<quint64>(longLongValue(type)) & 0xFFFFFFFFu);
    if (kind > kMaxType)
        return std::nullopt;
    auto record = initWithPath(path.toString(), static_cast<qint32>(kind), bundleId.toString());
    const qint64 bytes = map.contains(QStringLiteral("size")) ? longLongValue(size) : -1;
    // Only a positive size marks the record as calculated.
    if (record && bytes > 0)
        record->setSize(static_cast<quint64>(bytes));
    return record;
}

QVariantMap PathForRemove::toDictionary() const
{
    QVariantMap item;
    item.insert(QStringLiteral("type"), QString::number(_type));
    if (m_bIsSizeCalculated)
        item.insert(QStringLiteral("size"), QString::number(m_nSize));
    item.insert(QStringLiteral("path"), _path);
    item.insert(QStringLiteral("bundleId"), _bundleId);
    return item;
}

void PathForRemove::setSize(quint64 size)
{
    m_nSize = size;
    m_bIsSizeCalculated = true;
}

bool PathForRemove::checkIsRemovedByUser() const
{
    return _path.isNull() || !FileManagerUtils::fileExistsWithoutTraversingSymbolicLinkAtPath(_path);
}
