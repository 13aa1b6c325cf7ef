#include "PropertyListGuard.h"

#include <QByteArrayView>

#include <optional>
#include <vector>

namespace {

constexpr qsizetype kHeaderSize = 8;
constexpr qsizetype kTrailerSize = 32;

// The trailer of a binary list: the sizes of offsets and references, the object
// count, the top object and where the offset table starts.
struct Trailer
{
    int offsetSize = 0;
    int referenceSize = 0;
    quint64 objectCount = 0;
    quint64 topObject = 0;
    quint64 tableOffset = 0;
};

// The references a container holds: where they start and how many there are.
struct References
{
    quint64 start = 0;
    quint64 count = 0;
};

quint64 readBigEndian(const uchar *bytes, int size)
{
    quint64 value = 0;
    for (int i = 0; i < size; ++i)
        value = (value << 8) | bytes[i];
    return value;
}

std::optional<Trailer> readTrailer(const QByteArray &data)
{
    if (data.size() < kHeaderSize + kTrailerSize)
        return std::nullopt;
    const auto *bytes = reinterpret_cast<const uchar *>(data.constData()) + data.size() - kTrailerSize;
    Trailer trailer{bytes[6], bytes[7], readBigEndian(bytes + 8, 8), readBigEndian(bytes + 16, 8),
                    readBigEndian(bytes + 24, 8)};
    const auto end = static_cast<quint64>(data.size() - kTrailerSize);
    if (trailer.offsetSize < 1 || trailer.offsetSize > 8 || trailer.referenceSize < 1 || trailer.referenceSize > 8)
        return std::nullopt;
    if (trailer.tableOffset < kHeaderSize || trailer.tableOffset > end || trailer.objectCount == 0 ||
        trailer.objectCount > (end - trailer.tableOffset) / static_cast<quint64>(trailer.offsetSize) ||
        trailer.topObject >= trailer.objectCount)
        return std::nullopt;
    return trailer;
}

// The references of the object at the offset: none for a scalar, the elements of an
// array or set, the keys then the values of a dictionary. Nothing when malformed.
std::optional<References> referencesAt(const uchar *bytes, quint64 offset, const Trailer &trailer)
{
    const quint64 end = trailer.tableOffset;
    if (offset < kHeaderSize || offset >= end)
        return std::nullopt;
    const int type = bytes[offset] >> 4;
    const bool isDictionary = type == 0xD;
    if (type < 0xA || type > 0xD)
        return References{};
    quint64 count = bytes[offset] & 0xF;
    quint64 position = offset + 1;
    if (count == 0xF) { // the count follows as an integer object
        if (position >= end || (bytes[position] >> 4) != 0x1 || (bytes[position] & 0xF) > 3)
            return std::nullopt;
        const int size = 1 << (bytes[position] & 0xF);
        if (end - position - 1 < static_cast<quint64>(size))
            return std::nullopt;
        count = readBigEndian(bytes + position + 1, size);
        position += 1 + size;
    }
    const quint64 room = (end - position) / static_cast<quint64>(trailer.referenceSize);
    if (count > (isDictionary ? room / 2 : room))
        return std::nullopt;
    return References{position, isDictionary ? count * 2 : count};
}

} // namespace

bool PropertyListGuard::isSafeToParse(const QByteArray &data, int maxDepth)
{
    return data.startsWith("bplist") ? isSafeBinary(data, maxDepth) : isSafeText(data, maxDepth);
}

// Walks the object graph from the top object with an explicit stack. Every reference
// counts against the budget, so shared containers are paid for as libplist expands
// them, and a reference cycle runs into the depth limit.
bool PropertyListGuard::isSafeBinary(const QByteArray &data, int maxDepth)
{
    const auto trailer = readTrailer(data);
    if (!trailer)
        return false;
    const auto *bytes = reinterpret_cast<const uchar *>(data.constData());
    const auto offsetOf = [&](quint64 object) {
        return readBigEndian(bytes + trailer->tableOffset + object * trailer->offsetSize, trailer->offsetSize);
    };
    struct Pending
    {
        quint64 object;
        int depth;
    };
    std::vector<Pending> pending{{trailer->topObject, 0}};
    qint64 produced = 1;
    while (!pending.empty()) {
        const Pending current = pending.back();
        pending.pop_back();
        const auto references = referencesAt(bytes, offsetOf(current.object), *trailer);
        if (!references)
            return false;
        if (references->count > 0 && current.depth + 1 > maxDepth)
            return false;
        for (quint64 i = 0; i < references->count; ++i) {
            const quint64 object = readBigEndian(bytes + references->start + i * trailer->referenceSize,
                                                 trailer->referenceSize);
            if (object >= trailer->objectCount || ++produced > kMaxObjects)
                return false;
            pending.push_back({object, current.depth + 1});
        }
    }
    return true;
}

// Counts the nesting of elements, skipping comments, CDATA sections, declarations and
// processing instructions; self-closing elements do not nest. Two levels more than
// the value depth are allowed: the <plist> element and the leaf elements.
bool PropertyListGuard::isSafeText(const QByteArray &data, int maxDepth)
{
    const auto skipPast = [&](qsizetype from, const char *marker) {
        const qsizetype at = data.indexOf(marker, from);
        return at < 0 ? data.size() : at + qsizetype(qstrlen(marker));
    };
    int depth = 0;
    qsizetype i = data.indexOf('<');
    while (i >= 0 && i < data.size()) {
        const QByteArrayView head = QByteArrayView(data).sliced(i);
        if (head.startsWith("<!--")) {
            i = skipPast(i + 4, "-->");
        } else if (head.startsWith("<![CDATA[")) {
            i = skipPast(i + 9, "]]>");
        } else if (head.startsWith("<?")) {
            i = skipPast(i + 2, "?>");
        } else {
            const qsizetype close = data.indexOf('>', i + 1);
            if (close < 0)
                break;
            if (head.startsWith("</"))
                depth = depth > 0 ? depth - 1 : 0;
            else if (!head.startsWith("<!") && data.at(close - 1) != '/' && ++depth > maxDepth + 2)
                return false;
            i = close + 1;
        }
        i = data.indexOf('<', i);
    }
    return true;
}
