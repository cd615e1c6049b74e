#include "host/hello/rights.h"

namespace VESK::Host
{

QString rightsText(const Rights &rights)
{
    QString text;
    if (rights.mayRead)
        text += QLatin1Char('r');
    if (rights.mayWrite)
        text += QLatin1Char('w');
    return text.isEmpty() ? QStringLiteral("none") : text;
}

std::optional<Rights> parseRights(const QString &text)
{
    const bool mayRead = text == QLatin1String("r") || text == QLatin1String("rw");
    const bool mayWrite = text == QLatin1String("w") || text == QLatin1String("rw");
    if (!mayRead && !mayWrite)
        return std::nullopt;
    return Rights{mayRead, mayWrite};
}

} // namespace VESK::Host
