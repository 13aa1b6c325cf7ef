#include "FontsFactory.h"

#include "UiLog.h"

#include <QFontDatabase>

#include <algorithm>
#include <array>

namespace {

constexpr std::array<const char *, 10> kPostScriptNames{
    "LucidaGrande",   "OpenSans",      "OpenSans-Bold",      "OpenSans-Semibold",    "Helvetica",
    "Helvetica-Bold", "HelveticaNeue", "HelveticaNeue-Bold", "HelveticaNeue-Medium", "HelveticaNeue-Light",
};

FontsFactory::Availability &availabilityOverride()
{
    static FontsFactory::Availability availability;
    return availability;
}

QString regularStyle()
{
    return QStringLiteral("Regular");
}

// Style names are spelled freely ("Semibold", "SemiBold", "Semi Bold").
QString styleKey(const QString &style)
{
    return style.toLower().remove(QLatin1Char(' '));
}

bool isRegularStyleName(const QString &style)
{
    static const QStringList regularNames{QStringLiteral("regular"), QStringLiteral("roman"), QStringLiteral("book"),
                                          QStringLiteral("normal")};
    return regularNames.contains(styleKey(style));
}

bool databaseHas(const FontsFactory::Typeface &typeface)
{
    const QStringList families = QFontDatabase::families();
    const auto family = std::find_if(families.begin(), families.end(), [&typeface](const QString &name) {
        return name.compare(typeface.family, Qt::CaseInsensitive) == 0;
    });
    if (family == families.end())
        return false;
    const bool regular = typeface.style == regularStyle();
    const QStringList styles = QFontDatabase::styles(*family);
    return std::any_of(styles.begin(), styles.end(), [&typeface, regular](const QString &style) {
        return regular ? isRegularStyleName(style) : styleKey(style) == styleKey(typeface.style);
    });
}

} // namespace

QString FontsFactory::postScriptName(int kind)
{
    return kind >= 0 && kind < int(kPostScriptNames.size()) ? QString::fromLatin1(kPostScriptNames[size_t(kind)])
                                                              : QString();
}

QList<int> FontsFactory::fallbackChain(int kind)
{
    switch (kind) {
    case LucidaGrande:
    case OpenSans:
    case HelveticaNeue:
        return {Helvetica, SystemFont};
    case OpenSansBold:
    case OpenSansSemibold:
    case HelveticaNeueBold:
    case HelveticaNeueMedium:
        return {HelveticaBold, BoldSystemFont};
    case Helvetica:
        return {SystemFont};
    case HelveticaBold:
        return {BoldSystemFont};
    case HelveticaNeueLight:
        return {HelveticaNeue, Helvetica, SystemFont};
    default:
        return {};
    }
}

FontsFactory::Typeface FontsFactory::typefaceForPostScriptName(const QString &postScriptName)
{
    const qsizetype dash = postScriptName.indexOf(QLatin1Char('-'));
    const QString familyPart = dash < 0 ? postScriptName : postScriptName.left(dash);
    Typeface typeface{QString(), dash < 0 ? regularStyle() : postScriptName.mid(dash + 1)};
    // "HelveticaNeue" is "Helvetica Neue": a space wherever a capital follows a small letter.
    for (qsizetype i = 0; i < familyPart.size(); ++i) {
        if (i > 0 && familyPart.at(i).isUpper() && familyPart.at(i - 1).isLower())
            typeface.family += QLatin1Char(' ');
        typeface.family += familyPart.at(i);
    }
    return typeface;
}

void FontsFactory::setAvailability(Availability availability)
{
    availabilityOverride() = std::move(availability);
}

bool FontsFactory::isAvailable(const Typeface &typeface)
{
    const Availability &answer = availabilityOverride();
    return answer ? answer(typeface) : databaseHas(typeface);
}

QFont FontsFactory::systemFont(double size, bool bold)
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    if (size > 0)
        font.setPointSizeF(size);
    if (bold)
        font.setWeight(QFont::Bold);
    return font;
}

std::optional<QFont> FontsFactory::fontOfKind(int kind, double size)
{
    if (kind == SystemFont || kind == BoldSystemFont)
        return systemFont(size, kind == BoldSystemFont);
    const Typeface typeface = typefaceForPostScriptName(postScriptName(kind));
    if (!isAvailable(typeface))
        return std::nullopt;
    QFont font(typeface.family);
    if (typeface.style != regularStyle())
        font.setStyleName(typeface.style);
    font.setPointSizeF(size > 0 ? size : systemFont(size, false).pointSizeF());
    return font;
}

QFont FontsFactory::fontWithName(int kind, double size)
{
    if (!isValidKind(kind))
        qFatal("FontsFactory::fontWithName: %d is not a font kind", kind);
    if (auto font = fontOfKind(kind, size))
        return *font;
    for (const int fallback : fallbackChain(kind)) {
        if (auto font = fontOfKind(fallback, size)) {
            qCDebug(lcUi) << postScriptName(kind) << "is missing; using" << font->family() << font->styleName();
            return *font;
        }
    }
    // Unreachable while every chain ends in a system font; kept so that a shorter
    // chain still answers a font of the right weight.
    return systemFont(size, postScriptName(kind).contains(QLatin1String("bold"), Qt::CaseInsensitive));
}
