#include "host/completion/manual_parts.h"

#include "host/completion/command_list.h"
#include "host/config/option_tree.h"

#include <map>
#include <set>
#include <vector>

namespace VESK::Host
{

namespace
{

std::string plain(const std::string &text)
{
    return backslashed(text, "\\_*[]|#");
}

std::string sentence(const CLI::Option &option)
{
    const std::string &text = option.get_description();
    const std::string value = option.get_default_str();
    const bool isTold = text.find("default") != std::string::npos;
    const bool hasDefault = !value.empty() && !isTold && valueKind(option) != ValueKind::Flag;
    return plain(hasDefault ? text + " (default " + value + ")" : text);
}

std::string optionEntry(const CLI::Option &option)
{
    const std::string value = option.nonpositional() ? placeholder(option) : std::string();
    return "*" + plain(shownNames(option)) + "*" + (value.empty() ? "" : " _" + plain(value) + "_") + "\n\t"
        + sentence(option) + ".\n\n";
}

// What stands after the examples, or all when there are none.
std::string explanationOf(const CLI::App &command)
{
    const std::string text = command.get_description();
    const std::size_t blankLine = text.rfind("\n\n");
    return blankLine == std::string::npos ? text : text.substr(blankLine + 2);
}

void addCommand(const CLI::App &command, const std::string &path, std::string *text)
{
    std::string usage = "*vesk " + path + "*";
    if (!command.get_subcommands(nullptr).empty())
        usage += " _VERB_";
    usage += " \\[_OPTION_...\\]";
    std::string entries;
    for (const CLI::Option *option : command.get_options()) {
        if (option->get_group().empty() || isInformational(command, option))
            continue;
        if (!option->nonpositional())
            usage += " _" + plain(option->get_name(true)) + "_";
        entries += optionEntry(*option);
    }
    *text += "## vesk " + path + "\n\n" + usage + "\n\n" + plain(explanationOf(command)) + "\n\n" + entries;
    for (const CLI::App *verb : command.get_subcommands(nullptr))
        addCommand(*verb, path + ' ' + verb->get_name(), text);
}

std::string typeText(const CLI::Option &option)
{
    const std::string type = valueKind(option) == ValueKind::Flag ? "true or false"
        : valueKind(option) == ValueKind::Number                  ? "number"
                                                                  : "text";
    return takesSeveral(option) ? "list of " + type + "s" : type;
}

} // namespace

std::string manualOfOptions(const CLI::App &root)
{
    std::string text;
    for (const CLI::App *verb : root.get_subcommands(nullptr)) {
        if (!verb->get_group().empty())
            addCommand(*verb, verb->get_name(), &text);
    }
    text += "## Of every verb\n\n";
    for (const CLI::Option *option : root.get_options())
        text += optionEntry(*option);
    return text;
}

std::string manualOfKeys(const CLI::App &root)
{
    std::vector<std::string> order;
    std::map<std::string, std::string> entries; // by section
    std::set<std::string> seen;
    for (const Setting &setting : allSettings(root)) {
        if (setting.key.empty() || !seen.insert(setting.section + '.' + setting.key).second)
            continue;
        if (entries.count(setting.section) == 0)
            order.push_back(setting.section);
        entries[setting.section] += "*" + plain(setting.key) + "* (" + typeText(*setting.option) + ", *"
            + plain(setting.variable) + "*)\n\t" + sentence(*setting.option) + ".\n\n";
    }
    std::string text;
    for (const std::string &section : order) {
        text += section.empty() ? std::string("## At the top of the file\n\n") : "## [" + section + "]\n\n";
        text += entries[section];
    }
    return text;
}

} // namespace VESK::Host
