#include "PathCodec.h"

#include <QStringDecoder>

namespace {

constexpr char16_t kEscapeBase = 0xDC00;

bool isEscapedByte(QChar c)
{
    return c.unicode() >= kEscapeBase + 0x80 && c.unicode() <= kEscapeBase + 0xFF;
}

// The length of the valid UTF-8 sequence at the start of the bytes; 0 when there is
// none (a stray continuation byte, a truncated, overlong or surrogate sequence, or a
// code point above U+10FFFF).
qsizetype validSequenceLength(QByteArrayView bytes)
{
    const auto byte = [&](qsizetype i) { return static_cast<unsigned char>(bytes[i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80)
        return 1;
    qsizetype length = 0;
    char32_t point = 0;
    char32_t minimum = 0;
    if ((lead & 0xE0) == 0xC0) {
        length = 2, point = lead & 0x1F, minimum = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3, point = lead & 0x0F, minimum = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4, point = lead & 0x07, minimum = 0x10000;
    } else {
        return 0;
    }
    if (bytes.size() < length)
        return 0;
    for (qsizetype i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80)
            return 0;
        point = (point << 6) | (byte(i) & 0x3F);
    }
    const bool surrogate = point >= 0xD800 && point <= 0xDFFF;
    return point < minimum || surrogate || point > 0x10FFFF ? 0 : length;
}

} // namespace

QString PathCodec::decode(QByteArrayView bytes)
{
    QStringDecoder strict(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString decoded = strict(bytes);
    if (!strict.hasError())
        return decoded;
    decoded.clear();
    while (!bytes.isEmpty()) {
        const qsizetype length = validSequenceLength(bytes);
        if (length == 0) {
            decoded.append(QChar(kEscapeBase + static_cast<unsigned char>(bytes.front())));
            bytes = bytes.sliced(1);
        } else {
            decoded.append(QString::fromUtf8(bytes.first(length)));
            bytes = bytes.sliced(length);
        }
    }
    return decoded;
}

QByteArray PathCodec::encode(const QString &path)
{
    if (std::none_of(path.cbegin(), path.cend(), isEscapedByte))
        return path.toUtf8();
    QByteArray encoded;
    qsizetype runStart = 0;
    for (qsizetype i = 0; i <= path.size(); ++i) {
        if (i < path.size() && !isEscapedByte(path.at(i)))
            continue;
        encoded.append(QStringView(path).sliced(runStart, i - runStart).toUtf8());
        if (i < path.size())
            encoded.append(static_cast<char>(path.at(i).unicode() - kEscapeBase));
        runStart = i + 1;
    }
    return encoded;
}

QString PathCodec::forDisplay(const QString &path)
{
    QString shown = path;
    for (QChar &c : shown) {
        if (isEscapedByte(c)) {
            const char16_t byte = c.unicode() - kEscapeBase;
            c = byte >= 0xA0 ? QChar(byte) : QChar::ReplacementCharacter;
        }
    }
    return shown;
}
