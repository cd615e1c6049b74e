#include "host/config/config_file.h"

#include "host/text.h"

#include <QtCore/QFile>

#include <toml++/toml.h>

#include <cerrno>

namespace VESK::Host
{

namespace
{

int lineOf(const toml::node &node)
{
    return static_cast<int>(node.source().begin.line);
}

ConfigValue valueOf(const toml::node &node)
{
    ConfigValue value;
    value.line = lineOf(node);
    if (const auto *boolean = node.as_boolean()) {
        value.kind = ConfigValue::Kind::Boolean;
        value.text = boolean->get() ? "true" : "false";
    } else if (const auto *integer = node.as_integer()) {
        value.kind = ConfigValue::Kind::Integer;
        value.text = std::to_string(integer->get());
    } else if (const auto *number = node.as_floating_point()) {
        value.kind = ConfigValue::Kind::Float;
        value.text = QByteArray::number(number->get(), 'g', 15).toStdString();
    } else if (const auto *text = node.as_string()) {
        value.kind = ConfigValue::Kind::String;
        value.text = text->get();
    } else if (const auto *list = node.as_array()) {
        value.kind = ConfigValue::Kind::List;
        for (const toml::node &item : *list)
            value.items.push_back(valueOf(item));
    }
    return value;
}

ConfigSection sectionOfTable(const toml::table &table)
{
    ConfigSection section;
    section.line = lineOf(table);
    for (const auto &[key, node] : table)
        section.values[std::string(key.str())] = valueOf(node);
    return section;
}

void takeRemotes(const toml::node &node, ConfigFile *file)
{
    const toml::table *remotes = node.as_table();
    if (!remotes) {
        file->problems.push_back({lineOf(node), QStringLiteral("remote is no table; write [remote.NAME]")});
        return;
    }
    for (const auto &[name, remote] : *remotes) {
        const std::string key(name.str());
        if (const toml::table *table = remote.as_table())
            file->remotes[key] = sectionOfTable(*table);
        else
            file->problems.push_back(
                {lineOf(remote),
                 QStringLiteral("[remote] holds the key \"%1\"; write [remote.NAME]").arg(escaped(key))});
    }
}

void takeTables(const toml::table &root, ConfigFile *file)
{
    for (const auto &[name, node] : root) {
        const std::string key(name.str());
        if (key == "remote")
            takeRemotes(node, file);
        else if (const toml::table *table = node.as_table())
            file->sections[key] = sectionOfTable(*table);
        else
            file->sections[""].values[key] = valueOf(node);
    }
}

} // namespace

QString configPlace(const QString &path, int line)
{
    return line == 0 ? escaped(path) : QStringLiteral("%1:%2").arg(escaped(path), QString::number(line));
}

std::optional<ConfigFile> readConfigFile(const QString &path)
{
    QFile source(path);
    errno = 0;
    if (!source.open(QIODevice::ReadOnly)) {
        if (errno == 0)
            errno = EISDIR; // what Qt refuses without asking the system
        return std::nullopt;
    }
    const std::string text = source.readAll().toStdString();
    ConfigFile file;
    file.path = path;
    try {
        takeTables(toml::parse(text), &file);
    } catch (const toml::parse_error &error) {
        const std::string_view why = error.description(); // which has its own escapes for controls
        const QString shown = QString::fromUtf8(why.data(), static_cast<int>(why.size()));
        file.problems.push_back({static_cast<int>(error.source().begin.line),
                                 escaped(shown).replace(QLatin1String("\\\\"), QLatin1String("\\"))});
    }
    return file;
}

} // namespace VESK::Host
