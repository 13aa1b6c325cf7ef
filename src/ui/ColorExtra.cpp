#include "ColorExtra.h"

#include "ImageLibrary.h"
#include "InvalidColorValue.h"

#include <QCache>
#include <QMutex>
#include <QMutexLocker>

#include <atomic>
#include <limits>

namespace {

// The process-wide hex colour cache, keyed by the string exactly as callers pass it.
// Bounded like the platform cache it stands for, so that arbitrary strings cannot
// grow it without end.
struct HexColorCache
{
    static constexpr qsizetype kCapacity = 1024;

    QMutex mutex;
    QCache<QString, QColor> colors{kCapacity};
    std::atomic<quint64> hits{0};
};

HexColorCache &hexColorCache()
{
    static HexColorCache cache; // made once, thread-safely, on first use
    return cache;
}

// An sRGB colour written as 0xRRGGBB.
QColor rgb(quint32 value, float alpha = 1.0f)
{
    QColor color(QRgb(value | 0xff000000u));
    color.setAlphaF(alpha);
    return color;
}

// The named colours that go through the cache use fixed, well-formed strings.
QColor cachedHex(const QString &string)
{
    return ColorExtra::colorWithHexString(string).value_or(QColor());
}

int hexDigitValue(QChar c)
{
    const char16_t u = c.unicode();
    if (u >= u'0' && u <= u'9')
        return u - u'0';
    if (u >= u'A' && u <= u'F')
        return u - u'A' + 10;
    if (u >= u'a' && u <= u'f')
        return u - u'a' + 10;
    return -1;
}

// The value of the leading hexadecimal digits (after white space), read as
// NSScanner's scanHexInt reads it, saturating instead of overflowing.
quint32 scanHex(QStringView text)
{
    qsizetype i = 0;
    while (i < text.size() && text.at(i).isSpace())
        ++i;
    quint64 value = 0;
    for (int digit = 0; i < text.size() && (digit = hexDigitValue(text.at(i))) >= 0; ++i)
        value = qMin<quint64>(value * 16 + quint64(digit), std::numeric_limits<quint32>::max());
    return quint32(value);
}

} // namespace

QColorSpace ColorExtra::currentColorSpace()
{
    return QColorSpace(QColorSpace::SRgb);
}

QColor ColorExtra::properColorWithRed(float red, float green, float blue, float alpha)
{
    return QColor::fromRgbF(red, green, blue, alpha);
}

double ColorExtra::colorComponentFrom(const QString &string, qsizetype start, qsizetype length)
{
    QString digits = string.mid(start, length);
    if (length != 2)
        digits += digits;
    return scanHex(digits) / 255.0;
}

QColor ColorExtra::colorWithHexStringNotCacheable(const QString &string)
{
    const QString hex = QString(string).remove(QLatin1Char('#')).toUpper();
    const auto part = [&hex](qsizetype start, qsizetype length) {
        return float(colorComponentFrom(hex, start, length));
    };
    switch (hex.size()) {
    case 3:
        return properColorWithRed(part(0, 1), part(1, 1), part(2, 1), 1.0f);
    case 4:
        return properColorWithRed(part(1, 1), part(2, 1), part(3, 1), part(0, 1));
    case 6:
        return properColorWithRed(part(0, 2), part(2, 2), part(4, 2), 1.0f);
    case 8:
        return properColorWithRed(part(2, 2), part(4, 2), part(6, 2), part(0, 2));
    default:
        throw InvalidColorValue(string);
    }
}

std::optional<QColor> ColorExtra::colorWithHexString(const QString &string)
{
    if (string.isNull())
        return std::nullopt;
    HexColorCache &cache = hexColorCache();
    {
        const QMutexLocker lock(&cache.mutex);
        if (const QColor *cached = cache.colors.object(string)) {
            ++cache.hits;
            return *cached;
        }
    }
    const QColor color = colorWithHexStringNotCacheable(string);
    const QMutexLocker lock(&cache.mutex);
    cache.colors.insert(string, new QColor(color));
    return color;
}

quint64 ColorExtra::hexCacheHits()
{
    return hexColorCache().hits.load();
}

QColor ColorExtra::welcomeBackgroundColor() { return rgb(0xF4F5FA); }
QColor ColorExtra::welcomeTextColor() { return rgb(0x4C4E54); }
QColor ColorExtra::welcomeButtonTextColor() { return rgb(0x468DD6); }
QColor ColorExtra::commonTextColor() { return rgb(0xFFFFFF); }
QColor ColorExtra::commonBackgroundColor() { return rgb(0xE6E6EB); }
QColor ColorExtra::commonTableviewBackgroundColor() { return rgb(0x555555); }
QColor ColorExtra::bottomBarColor() { return rgb(0xF4F5FA); }
QColor ColorExtra::bottomBarSeparatorColor() { return cachedHex(QStringLiteral("4a4a4a")); }
QColor ColorExtra::toolbarBackgroundColor() { return rgb(0xF4F5FA); }
QColor ColorExtra::toolbarTitleTextColor() { return rgb(0x818795); }

QBrush ColorExtra::grayTextureColor()
{
    const QImage texture = ImageLibrary::imageNamed(QStringLiteral("site_bg"));
    return texture.isNull() ? QBrush(Qt::TexturePattern) : QBrush(texture);
}

QColor ColorExtra::applicationsSeparatorColor() { return cachedHex(QStringLiteral("464646")); }
QColor ColorExtra::appsListTableHeaderColor() { return rgb(0x8C919E); }
QBrush ColorExtra::appsListGroupColor() { return grayTextureColor(); }
QColor ColorExtra::appsListCellColor() { return rgb(0x555555); }
QColor ColorExtra::appsListGroupItemCellColor() { return cachedHex(QStringLiteral("505050")); }
QColor ColorExtra::appsListCellSeparatorColor() { return rgb(0x4A4A4A); }
QColor ColorExtra::appsListCellSelectedSeparatorColor() { return rgb(0x4A4A4A); }
QColor ColorExtra::appsListTableFooterColor() { return rgb(0xBABCC6); }

QColor ColorExtra::appsListTableHeaderBottomSeparatorColor()
{
    return properColorWithRed(74 / 255.0f, 74 / 255.0f, 74 / 255.0f, 1.0f);
}

QColor ColorExtra::appsListTableHeaderTopSeparatorColor()
{
    return properColorWithRed(133 / 255.0f, 133 / 255.0f, 133 / 255.0f, 1.0f);
}

QColor ColorExtra::appsListSelectedCellBordersColor() { return QColor(Qt::transparent); }
QColor ColorExtra::appsListExtensionSelectedBordersColor() { return rgb(0x4A4A4A); }
QColor ColorExtra::dependenciesBackgroundColor() { return rgb(0xFFFFFF, 0.0f); }
QColor ColorExtra::dependenciesTableHeaderColor() { return rgb(0xFFFFFF, 0.0f); }
QBrush ColorExtra::dependenciesGroupCellColor() { return grayTextureColor(); }
QColor ColorExtra::dependenciesCellColor() { return rgb(0x555555); }
QColor ColorExtra::dependenciesCellSeparatorColor() { return rgb(0x4A4A4A); }
QColor ColorExtra::dependenciesSelectedCellColor() { return rgb(0x4E4E4E); }
QColor ColorExtra::dragAndDropHintBackgroundColor() { return cachedHex(QStringLiteral("555555")); }
QColor ColorExtra::selectedFilesBackgroundColor() { return rgb(0xFFFFFF); }
QColor ColorExtra::selectedFilesBottomBarColor() { return rgb(0xF4F5FA); }
QColor ColorExtra::selectedFilesSeparatorColor() { return rgb(0x4A4A4A); }
QColor ColorExtra::selectedFilesCellTextColor() { return QColor(Qt::white); }
QColor ColorExtra::selectedFilesHeaderCellTextColor() { return QColor(Qt::white); }
QColor ColorExtra::categoryBackgroundColor() { return rgb(0xECEFF4); }
QColor ColorExtra::toolbarTopBackgroundColor() { return rgb(0xF5F5F5); }
QColor ColorExtra::toolbarTopShadowColor() { return rgb(0xC4CBCF); }
QColor ColorExtra::toolbarShadowSeparatorColor() { return rgb(0xC1C7CC); }
QColor ColorExtra::toolbarBottomBackgroundColor() { return rgb(0xDEDEE4); }
QColor ColorExtra::toolbarBottomShadowColor() { return rgb(0xF2F2F2); }
QColor ColorExtra::appInfoBarTopSeparatorColor() { return appsListCellSeparatorColor(); }
QColor ColorExtra::appInfoBarBackgroundColor() { return commonTableviewBackgroundColor(); }
std::optional<QColor> ColorExtra::appInfoBarBottomSeparatorColor() { return std::nullopt; }
QColor ColorExtra::preferencesTableViewBg() { return QColor::fromRgbF(0.24f, 0.24f, 0.24f, 1.0f); }
