#include "host/quantity.h"

#include <cmath>

namespace VESK::Host
{

namespace
{

constexpr double most = 9e15; // exact in a double, and more than anybody has

// The number before a unit; the unit's place among `units` goes to `unit`, -1 without one.
std::optional<double> parseNumber(QString text, const QString &units, int *unit)
{
    *unit = text.isEmpty() ? -1 : units.indexOf(text.at(text.size() - 1), 0, Qt::CaseInsensitive);
    if (*unit >= 0)
        text.chop(1);
    const bool isPlain = !text.isEmpty() && text.at(0).isDigit() && text.at(text.size() - 1).isDigit();
    bool ok = false;
    const double number = text.toDouble(&ok);
    if (!ok || !isPlain || text.contains(QLatin1Char('e'), Qt::CaseInsensitive) || !(number > 0))
        return std::nullopt;
    return number;
}

} // namespace

std::optional<qint64> parseBytes(const QString &text)
{
    int unit = -1;
    const std::optional<double> number = parseNumber(text, QStringLiteral("kMGT"), &unit);
    if (!number)
        return std::nullopt;
    const double bytes = std::floor(*number * std::pow(1024.0, unit + 1));
    if (bytes < 1 || bytes > most)
        return std::nullopt;
    return static_cast<qint64>(bytes);
}

} // namespace VESK::Host
