#include "host/config/option_tree.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <set>

namespace VESK::Host
{

namespace
{

// Verbs whose options have no place in the configuration, or one of their own.
const std::map<std::string, std::string> &specialSections()
{
    static const std::map<std::string, std::string> sections = {
        {"serve", "serve"}, {"demo", "demo"}, {"partials", "partials"}, {"config", ""},
        {"completion", ""}, {"help", ""},     {"version", ""},
    };
    return sections;
}

std::string keyOf(std::string longName)
{
    std::replace(longName.begin(), longName.end(), '-', '_');
    std::transform(longName.begin(), longName.end(), longName.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return longName;
}

std::string variableOf(std::string key)
{
    std::transform(key.begin(), key.end(), key.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
    return "VESK_" + key;
}

// What a server offers is named by position; it can stand in its section as well, so that a service needs
// no argument. Sources and targets of the client's verbs cannot.
bool isConfigurablePositional(const CLI::Option &option, const std::string &section)
{
    const std::string name = option.get_name(true);
    return section == "serve" && std::all_of(name.begin(), name.end(), [](unsigned char letter) {
               return std::isupper(letter) != 0;
           });
}

std::string longNameOf(const CLI::Option &option, const std::string &section)
{
    if (!option.get_lnames().empty())
        return option.get_lnames().front();
    return option.get_positional() && isConfigurablePositional(option, section) ? option.get_name(true)
                                                                                : std::string();
}

// These, as a type or as the name of a check, are numbers, some of which may have a unit.
const std::set<std::string> &numberTypes()
{
    static const std::set<std::string> types = {"INT",   "UINT", "FLOAT", "N",   "N|auto",
                                                "BYTES", "RATE", "SIZE",  "TIME"};
    return types;
}

// The parts of "TYPE:CHECK:..."; a colon in brackets belongs to a type, as in ADDRESS[:PORT].
std::vector<std::string> typeParts(const std::string &name)
{
    std::vector<std::string> parts(1);
    int depth = 0;
    for (const char letter : name) {
        depth += letter == '[' ? 1 : 0;
        depth -= letter == ']' ? 1 : 0;
        if (letter == ':' && depth == 0)
            parts.emplace_back();
        else
            parts.back() += letter;
    }
    return parts;
}

std::string typeOf(const CLI::Option &option)
{
    const std::vector<std::string> parts = typeParts(option.get_type_name());
    const bool isCheckedNumber = parts.size() > 1 && parts[0] == "TEXT" && numberTypes().count(parts[1]) != 0;
    return parts[isCheckedNumber ? 1 : 0];
}

} // namespace

std::string sectionOf(const CLI::App &verb)
{
    const auto found = specialSections().find(verb.get_name());
    return found == specialSections().end() ? "client" : found->second;
}

bool isInformational(const CLI::App &command, const CLI::Option *option)
{
    return option == command.get_help_ptr() || option == command.get_help_all_ptr()
        || option == command.get_version_ptr();
}

std::vector<Setting> settingsOf(const CLI::App &command, const std::string &section)
{
    std::vector<Setting> settings;
    const bool isOfRoot = command.get_parent() == nullptr;
    for (const CLI::Option *option : command.get_options()) {
        const std::string name = longNameOf(*option, section);
        if (name.empty() || isInformational(command, option))
            continue;
        Setting setting;
        // The tree hands out const pointers only; what it owns may be written to by whoever may parse it.
        setting.option = const_cast<CLI::Option *>(option);
        setting.section = section;
        const std::string key = keyOf(name);
        const bool isInFile = isOfRoot ? key != "config" : !section.empty();
        setting.key = isInFile ? key : std::string();
        // An argument's word may be an option's elsewhere, with another meaning.
        setting.variable = variableOf(option->nonpositional() ? key : section + '_' + key);
        settings.push_back(setting);
    }
    return settings;
}

std::vector<Setting> allSettings(const CLI::App &root)
{
    std::vector<Setting> settings = settingsOf(root, "");
    for (const CLI::App *verb : root.get_subcommands(nullptr)) {
        const std::vector<Setting> more = settingsOf(*verb, sectionOf(*verb));
        settings.insert(settings.end(), more.begin(), more.end());
    }
    return settings;
}

const CLI::App *givenVerb(const CLI::App &root)
{
    const auto given = root.get_subcommands();
    return given.empty() ? nullptr : given.front();
}

const CLI::App *givenCommand(const CLI::App &root)
{
    const CLI::App *command = givenVerb(root);
    while (command && !command->get_subcommands().empty())
        command = command->get_subcommands().front();
    return command;
}

ValueKind valueKind(const CLI::Option &option)
{
    if (option.get_items_expected_max() == 0)
        return ValueKind::Flag;
    return numberTypes().count(typeOf(option)) == 0 ? ValueKind::Text : ValueKind::Number;
}

bool takesSeveral(const CLI::Option &option)
{
    return option.get_items_expected_max() > 1
        || option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
}

std::string placeholder(const CLI::Option &option)
{
    if (valueKind(option) == ValueKind::Flag)
        return {};
    const std::string type = typeOf(option);
    return type == "INT" || type == "UINT" || type == "FLOAT" ? "N" : type;
}

std::vector<std::string> choicesOf(const CLI::Option &option)
{
    const std::string type = option.get_type_name();
    const std::size_t begin = type.find(":{");
    const std::size_t end = type.rfind('}');
    if (begin == std::string::npos || end == std::string::npos || end < begin)
        return {};
    return CLI::detail::split(type.substr(begin + 2, end - begin - 2), ',');
}

std::string shownNames(const CLI::Option &option)
{
    if (!option.nonpositional())
        return option.get_name(true);
    std::string names;
    for (const std::string &name : option.get_snames())
        names += (names.empty() ? "-" : ", -") + name;
    for (const std::string &name : option.get_lnames())
        names += (names.empty() ? "--" : ", --") + name;
    return names;
}

} // namespace VESK::Host
