#include "host/config/effective_setting.h"

#include "host/config/setting_value.h"

#include <QtCore/QByteArray>

namespace VESK::Host
{

namespace
{

const ConfigValue *find(const ConfigSection *section, const std::string &key)
{
    if (!section || key.empty())
        return nullptr;
    const auto found = section->values.find(key);
    return found == section->values.end() ? nullptr : &found->second;
}

const ConfigSection *find(const std::map<std::string, ConfigSection> &sections, const std::string &name)
{
    const auto found = sections.find(name);
    return found == sections.end() ? nullptr : &found->second;
}

EffectiveSetting withValues(EffectiveSetting effective, Origin origin, int line, SettingValues taken)
{
    effective.origin = origin;
    effective.line = line;
    effective.problem = taken.problem;
    if (taken.problem.isEmpty())
        effective.values = std::move(taken.values);
    return effective;
}

} // namespace

EffectiveSetting lookUp(const Setting &setting, const ConfigFile &file, const std::string &remote)
{
    EffectiveSetting effective;
    effective.setting = setting;
    const CLI::Option &option = *setting.option;
    if (option.count() > 0) {
        effective.origin = Origin::CommandLine;
        return effective;
    }
    const QByteArray variable = qgetenv(setting.variable.c_str());
    if (!variable.isEmpty())
        return withValues(effective, Origin::Environment, 0,
                          valuesFromVariable(option, variable.toStdString()));
    const bool isOfClient = setting.section == "client";
    if (const ConfigValue *value = find(isOfClient ? find(file.remotes, remote) : nullptr, setting.key))
        return withValues(effective, Origin::Remote, value->line, valuesFromConfig(option, *value));
    if (const ConfigValue *value = find(find(file.sections, setting.section), setting.key))
        return withValues(effective, Origin::Section, value->line, valuesFromConfig(option, *value));
    return effective;
}

QString originText(const EffectiveSetting &effective, const ConfigFile &file)
{
    switch (effective.origin) {
    case Origin::CommandLine:
        return QStringLiteral("command line");
    case Origin::Environment:
        return QString::fromStdString(effective.setting.variable);
    case Origin::Remote:
    case Origin::Section:
        return configPlace(file.path, effective.line);
    case Origin::Default:
        break;
    }
    return QStringLiteral("default");
}

} // namespace VESK::Host
