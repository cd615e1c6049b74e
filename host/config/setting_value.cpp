#include "host/config/setting_value.h"

#include "host/text.h"

#include <QtCore/QStringList>

#include <cstdlib>

namespace VESK::Host
{

namespace
{

QString quoted(const std::string &text)
{
    return QStringLiteral("\"%1\"").arg(escaped(text));
}

QString describe(const ConfigValue &value)
{
    switch (value.kind) {
    case ConfigValue::Kind::Boolean:
    case ConfigValue::Kind::Integer:
    case ConfigValue::Kind::Float:
        return QString::fromStdString(value.text);
    case ConfigValue::Kind::String:
        return QStringLiteral("the text %1").arg(quoted(value.text));
    case ConfigValue::Kind::List:
        return QStringLiteral("a list");
    case ConfigValue::Kind::Other:
        break;
    }
    return QStringLiteral("a table or a date");
}

bool isPlainNumber(const std::string &text)
{
    char *end = nullptr;
    (void)std::strtod(text.c_str(), &end); // only where it ends is of interest
    return !text.empty() && *end == '\0';
}

// What is wanted instead; empty when the value's type is right.
QString wantedType(ValueKind kind, const ConfigValue &value)
{
    const bool isNumber = value.kind == ConfigValue::Kind::Integer || value.kind == ConfigValue::Kind::Float;
    const bool isText = value.kind == ConfigValue::Kind::String;
    switch (kind) {
    case ValueKind::Flag:
        return value.kind == ConfigValue::Kind::Boolean ? QString() : QStringLiteral("true or false");
    case ValueKind::Number:
        return isNumber || (isText && !isPlainNumber(value.text)) ? QString() : QStringLiteral("a number");
    case ValueKind::Text:
        break;
    }
    return isText ? QString() : QStringLiteral("a text in quotes");
}

std::string flagValue(const CLI::Option &option, const std::string &text)
{
    return option.get_lnames().empty() ? text : option.get_flag_value(option.get_lnames().front(), text);
}

SettingValues problemOf(const QString &what)
{
    SettingValues result;
    result.problem = what;
    return result;
}

std::vector<std::string> splitAtCommas(const std::string &text)
{
    std::vector<std::string> parts;
    const QStringList all = QString::fromStdString(text).split(QLatin1Char(','), Qt::SkipEmptyParts);
    for (const QString &part : all)
        parts.push_back(part.toStdString());
    return parts;
}

} // namespace

SettingValues valuesFromConfig(const CLI::Option &option, const ConfigValue &value)
{
    const std::vector<ConfigValue> single = {value};
    const bool isList = value.kind == ConfigValue::Kind::List && takesSeveral(option);
    SettingValues result;
    for (const ConfigValue &item : isList ? value.items : single) {
        const QString wanted = wantedType(valueKind(option), item);
        if (!wanted.isEmpty())
            return problemOf(QStringLiteral("%1 is wanted, not %2").arg(wanted, describe(item)));
        result.values.push_back(valueKind(option) == ValueKind::Flag ? flagValue(option, item.text)
                                                                     : item.text);
    }
    return result;
}

SettingValues valuesFromVariable(const CLI::Option &option, const std::string &text)
{
    SettingValues result;
    if (valueKind(option) != ValueKind::Flag) {
        result.values = takesSeveral(option) ? splitAtCommas(text) : std::vector<std::string>{text};
        return result;
    }
    try {
        (void)CLI::detail::to_flag_value(text); // throws at what is no yes and no no
        result.values = {flagValue(option, text)};
    } catch (const std::exception &) {
        return problemOf(QStringLiteral("true or false is wanted, not %1").arg(quoted(text)));
    }
    return result;
}

bool isTrue(const std::string &text)
{
    try {
        return CLI::detail::to_flag_value(text) > 0;
    } catch (const std::exception &) {
        return false;
    }
}

QString assign(CLI::Option &option, const std::vector<std::string> &values)
{
    if (values.empty())
        return {};
    try {
        option.clear();
        option.allow_extra_args(false); // which would take "[a]" for a list
        option.add_result(values);
        option.run_callback();
    } catch (const CLI::Error &error) {
        const QString text = QString::fromUtf8(error.what());
        const QString head = QString::fromStdString(option.get_name()) + QLatin1String(": ");
        return escaped(text.startsWith(head) ? text.mid(head.size()) : text);
    }
    return {};
}

} // namespace VESK::Host
