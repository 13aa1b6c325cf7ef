#include "ByteCountFormatter.h"

#include <array>
#include <cmath>

namespace {

struct Unit
{
    const char *name;
    int decimals;
};

constexpr std::array kUnits{Unit{"KB", 0}, Unit{"MB", 1}, Unit{"GB", 2}, Unit{"TB", 2}, Unit{"PB", 2}, Unit{"EB", 2}};
constexpr double kStep = 1000.0;

QString withoutTrailingZeros(QString number)
{
    if (!number.contains(QLatin1Char('.')))
        return number;
    while (number.endsWith(QLatin1Char('0')))
        number.chop(1);
    if (number.endsWith(QLatin1Char('.')))
        number.chop(1);
    return number;
}

double roundedTo(double value, int decimals)
{
    const double scale = std::pow(10.0, decimals);
    return std::round(value * scale) / scale;
}

} // namespace

QString ByteCountFormatter::stringFromByteCount(quint64 bytes)
{
    if (bytes == 0)
        return QStringLiteral("Zero KB");
    if (bytes == 1)
        return QStringLiteral("1 byte");
    if (bytes < 1000)
        return QStringLiteral("%1 bytes").arg(bytes);

    double value = static_cast<double>(bytes) / kStep;
    std::size_t unit = 0;
    // Move up a unit whenever rounding would show 1000 or more of the current one
    // (999,999 bytes is "1 MB", not "1000 KB").
    while (unit + 1 < kUnits.size() && roundedTo(value, kUnits[unit].decimals) >= kStep) {
        value /= kStep;
        ++unit;
    }
    const int decimals = kUnits[unit].decimals;
    const QString number = withoutTrailingZeros(QString::number(roundedTo(value, decimals), 'f', decimals));
    return number + QLatin1Char(' ') + QLatin1String(kUnits[unit].name);
}
