#include "host/bytes_option.h"

#include "host/quantity.h"
#include "host/text.h"

namespace VESK::Host
{

namespace
{

std::string check(const std::string &text)
{
    const QString shown = QString::fromStdString(text);
    if (parseBytes(shown))
        return {};
    return QStringLiteral("\"%1\" is no number of bytes, such as 500k, 10M or 1.5G")
        .arg(escaped(shown))
        .toStdString();
}

} // namespace

CLI::Validator byteCount()
{
    return CLI::Validator(check, "BYTES");
}

} // namespace VESK::Host
