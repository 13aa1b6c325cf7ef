#include "InvalidColorValue.h"

namespace {

// "#RBG" and the two spaces after the first full stop are the product's wording.
QString reasonFor(const QString &colorString)
{
    return QStringLiteral("Color value %1 is invalid.  It should be a hex value of the form #RBG, #ARGB, #RRGGBB, or "
                          "#AARRGGBB")
        .arg(colorString);
}

} // namespace

InvalidColorValue::InvalidColorValue(const QString &colorString)
    : std::invalid_argument(reasonFor(colorString).toStdString())
    , m_reason(reasonFor(colorString))
{
}
