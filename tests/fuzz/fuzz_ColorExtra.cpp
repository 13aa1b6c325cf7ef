// Colours are read from hexadecimal strings: any string either gives a valid colour
// or throws InvalidColorValue (for a length no colour form has), and the cached form
// answers the same as the uncached one.
#include "FuzzSupport.h"

#include "ui/ColorExtra.h"
#include "ui/InvalidColorValue.h"

namespace {

// Measured as the parser measures: after upper-casing, which may lengthen the text
// ("ß" becomes "SS").
bool hasColourLength(const QString &text)
{
    const qsizetype digits = QString(text).remove(QLatin1Char('#')).toUpper().size();
    return digits == 3 || digits == 4 || digits == 6 || digits == 8;
}

std::optional<QColor> uncached(const QString &text)
{
    try {
        return ColorExtra::colorWithHexStringNotCacheable(text);
    } catch (const InvalidColorValue &error) {
        FUZZ_CHECK(!error.reason().isEmpty());
        return std::nullopt;
    }
}

std::optional<QColor> cached(const QString &text)
{
    try {
        return ColorExtra::colorWithHexString(text);
    } catch (const InvalidColorValue &) {
        return std::nullopt;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = fuzzText(data, size);
    const auto colour = uncached(text);
    FUZZ_CHECK(colour.has_value() == hasColourLength(text));
    if (colour) {
        FUZZ_CHECK(colour->isValid());
        for (float component : {colour->redF(), colour->greenF(), colour->blueF(), colour->alphaF()})
            FUZZ_CHECK(component >= 0 && component <= 1);
    }
    // Twice: the second answer comes from the cache.
    FUZZ_CHECK(cached(text) == colour);
    FUZZ_CHECK(cached(text) == colour);
    return 0;
}
