#pragma once

#include <QFont>
#include <QList>
#include <QString>

#include <functional>
#include <optional>

// Every font of the interface, by kind and point size. The preferred typefaces may
// be missing; each kind has a fixed chain of fallbacks ending in the system font (or
// its bold form), so fontWithName() always answers a font.
//
// Typefaces are named as on the product's home platform, by PostScript name
// ("HelveticaNeue-Medium"); on this platform that is family "Helvetica Neue" with
// style "Medium", looked up in QFontDatabase. Stateless apart from the test hook;
// GUI thread only (QFontDatabase needs the GUI application).
class FontsFactory
{
public:
    enum FontName : int {
        LucidaGrande = 0,
        OpenSans = 1,
        OpenSansBold = 2,
        OpenSansSemibold = 3,
        Helvetica = 4,
        HelveticaBold = 5,
        HelveticaNeue = 6,
        HelveticaNeueBold = 7,
        HelveticaNeueMedium = 8,
        HelveticaNeueLight = 9,
        SystemFont = 10,
        BoldSystemFont = 11,
    };

    struct Typeface
    {
        QString family;
        QString style; // "Regular" when the PostScript name has no style part
        friend bool operator==(const Typeface &, const Typeface &) = default;
    };
    // Answers whether a typeface can be made; tests replace the font database's answer.
    using Availability = std::function<bool(const Typeface &)>;

    // The font of the kind at the size (points; 0 or less means the system's usual
    // size). A kind outside 0..11 is a programming error and stops the process.
    static QFont fontWithName(int kind, double size);

    static bool isValidKind(int kind) { return kind >= LucidaGrande && kind <= BoldSystemFont; }
    // The PostScript name of a kind's typeface; empty for the two system fonts.
    static QString postScriptName(int kind);
    // The kinds tried, in order, when the kind's own typeface is missing.
    static QList<int> fallbackChain(int kind);
    static Typeface typefaceForPostScriptName(const QString &postScriptName);

    // Replaces the availability answer (nullptr restores the font database's).
    static void setAvailability(Availability availability);
    static bool isAvailable(const Typeface &typeface);

private:
    static std::optional<QFont> fontOfKind(int kind, double size);
    static QFont systemFont(double size, bool bold);
};
