#include "PropertyListGuard.h"

#include "XmlPlistScanner.h"

#include <optional>
#include <vector>

namespace {

constexpr qsizetype kHeaderSize = 8;
constexpr qsizetype kTrailerSize = 32;

quint64 readBigEndian(const uchar *bytes, int size)
{
    quint64 value = 0;
    for (int i = 0; i < size; ++i)
        value = (value << 8) | bytes[i];
    return value;
}

// One object of a binary list: its type (the marker's high nibble) and, for data,
// strings and containers, its length and where its content starts.
struct Object
{
    int type = 0;
    quint64 count = 0;
    quint64 start = 0;

    bool isContainer() const { return type >= 0xA && type <= 0xD; }
    bool isDictionary() const { return type == 0xD; }
    bool isText() const { return type >= 0x5 && type <= 0x7; }
    // A dictionary refers to its keys, then to as many values.
    quint64 referenceCount() const { return isDictionary() ? count * 2 : count; }
    // The bytes of text or data libplist makes of it.
    quint64 contentBytes() const
    {
        if (type == 0x6)
            return count * 3; // UTF-16 becomes UTF-8
        return type == 0x4 || isText() ? count : 0;
    }
};

// Reads the objects of a binary list through its trailer and offset table, checking
// every offset, length and reference against the data.
class BinaryList
{
public:
    explicit BinaryList(const QByteArray &data)
        : m_bytes(reinterpret_cast<const uchar *>(data.constData()))
    {
        if (data.size() < kHeaderSize + kTrailerSize)
            return;
        const uchar *trailer = m_bytes + data.size() - kTrailerSize;
        m_offsetSize = trailer[6];
        m_referenceSize = trailer[7];
        m_objectCount = readBigEndian(trailer + 8, 8);
        m_topObject = readBigEndian(trailer + 16, 8);
        m_tableOffset = readBigEndian(trailer + 24, 8);
        const auto end = quint64(data.size() - kTrailerSize);
        m_valid = m_offsetSize >= 1 && m_offsetSize <= 8 && m_referenceSize >= 1 && m_referenceSize <= 8 &&
                  m_tableOffset >= kHeaderSize && m_tableOffset <= end && m_objectCount > 0 &&
                  m_objectCount <= (end - m_tableOffset) / quint64(m_offsetSize) && m_topObject < m_objectCount;
    }

    bool isValid() const { return m_valid; }
    quint64 topObject() const { return m_topObject; }
    quint64 objectCount() const { return m_objectCount; }

    // The object; nothing when its marker or content runs past the objects.
    std::optional<Object> object(quint64 index) const
    {
        const quint64 offset = readBigEndian(m_bytes + m_tableOffset + index * m_offsetSize, m_offsetSize);
        if (offset < kHeaderSize || offset >= m_tableOffset)
            return std::nullopt;
        Object object{m_bytes[offset] >> 4, m_bytes[offset] & 0xFu, offset + 1};
        if (!object.isContainer() && !object.isText() && object.type != 0x4)
            return Object{object.type, 0, object.start};
        if (object.count == 0xF) { // the length follows as an integer object
            const quint64 position = object.start;
            if (position >= m_tableOffset || (m_bytes[position] >> 4) != 0x1 || (m_bytes[position] & 0xF) > 3)
                return std::nullopt;
            const int size = 1 << (m_bytes[position] & 0xF);
            if (m_tableOffset - position - 1 < quint64(size))
                return std::nullopt;
            object.count = readBigEndian(m_bytes + position + 1, size);
            object.start = position + 1 + size;
        }
        if (object.count > (m_tableOffset - object.start) / unitSize(object))
            return std::nullopt;
        return object;
    }

    quint64 reference(const Object &container, quint64 i) const
    {
        return readBigEndian(m_bytes + container.start + i * m_referenceSize, m_referenceSize);
    }

    // libplist asserts, and so aborts, on a dictionary key that holds a NUL character.
    bool isUsableKey(const Object &key) const
    {
        if (!key.isText())
            return true;
        const quint64 unit = key.type == 0x6 ? 2 : 1;
        for (quint64 i = 0; i < key.count; ++i) {
            const uchar *character = m_bytes + key.start + i * unit;
            if (character[0] == 0 && (unit == 1 || character[1] == 0))
                return false;
        }
        return true;
    }

private:
    // The bytes one unit of an object's length takes.
    quint64 unitSize(const Object &object) const
    {
        if (object.isContainer())
            return quint64(m_referenceSize) * (object.isDictionary() ? 2 : 1);
        return object.type == 0x6 ? 2 : 1; // UTF-16 text
    }

    const uchar *m_bytes;
    int m_offsetSize = 0;
    int m_referenceSize = 0;
    quint64 m_objectCount = 0;
    quint64 m_topObject = 0;
    quint64 m_tableOffset = 0;
    bool m_valid = false;
};

} // namespace

bool PropertyListGuard::isSafeToParse(const QByteArray &data, int maxDepth)
{
    // libplist takes data for binary by these eight bytes alone, anything else for XML.
    if (data.startsWith("bplist00"))
        return isSafeBinary(data, maxDepth);
    return XmlPlistScanner::isWithin(data, {maxDepth, kMaxObjects, kMaxContentBytes});
}

// Walks the object graph from the top object with an explicit stack. Every reference
// counts against the budgets, so shared objects are paid for as libplist expands
// them, and a reference cycle runs into the depth limit.
bool PropertyListGuard::isSafeBinary(const QByteArray &data, int maxDepth)
{
    const BinaryList list(data);
    if (!list.isValid())
        return false;
    struct Pending
    {
        quint64 index;
        int depth;
    };
    std::vector<Pending> pending{{list.topObject(), 0}};
    qint64 produced = 1;
    quint64 contentBytes = 0;
    while (!pending.empty()) {
        const Pending current = pending.back();
        pending.pop_back();
        const auto object = list.object(current.index);
        if (!object || (contentBytes += object->contentBytes()) > quint64(kMaxContentBytes))
            return false;
        if (!object->isContainer())
            continue;
        if (object->count > 0 && current.depth + 1 > maxDepth)
            return false;
        for (quint64 i = 0; i < object->referenceCount(); ++i) {
            const quint64 index = list.reference(*object, i);
            if (index >= list.objectCount() || ++produced > kMaxObjects)
                return false;
            if (object->isDictionary() && i < object->count) {
                const auto key = list.object(index);
                if (!key || !list.isUsableKey(*key))
                    return false;
            }
            pending.push_back({index, current.depth + 1});
        }
    }
    return true;
}
