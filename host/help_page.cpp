#include "host/help_page.h"

#include "host/config/option_tree.h"

#include <algorithm>
#include <vector>

namespace VESK::Host
{

namespace
{

constexpr std::size_t screenColumns = 80;
constexpr std::size_t screenLines = 30;
constexpr std::size_t textColumn = 26; // where explanations begin

using Lines = std::vector<std::string>;

// What most people look for; any other option comes after these, in the order of the tree.
const std::vector<std::string> &neededMost()
{
    static const std::vector<std::string> names = {
        "recursive",  "dry-run",  "jobs",  "exclude", "include",    "verify", "existing",
        "limit-rate", "listen",   "share", "auth",    "token-file", "port",   "max-time",
        "retries",    "progress", "quiet", "verbose", "json",
    };
    return names;
}

std::size_t rankOf(const CLI::Option &option)
{
    const std::vector<std::string> &names = neededMost();
    for (const std::string &name : option.get_lnames()) {
        const auto found = std::find(names.begin(), names.end(), name);
        if (found != names.end())
            return static_cast<std::size_t>(found - names.begin());
    }
    return names.size();
}

// Words of `text` in lines of at most `width` columns.
Lines wrapped(const std::string &text, std::size_t width)
{
    Lines lines;
    for (const std::string &word : CLI::detail::split(text, ' ')) {
        if (word.empty())
            continue;
        if (lines.empty() || lines.back().size() + 1 + word.size() > width)
            lines.push_back(word);
        else
            lines.back() += ' ' + word;
    }
    return lines;
}

std::string explanationOf(const CLI::Option &option)
{
    const std::string &text = option.get_description();
    const std::string value = option.get_default_str();
    const bool isTold = text.find("default") != std::string::npos;
    return value.empty() || isTold || valueKind(option) == ValueKind::Flag
        ? text
        : text + " (default " + value + ")";
}

void append(Lines *lines, const Lines &more)
{
    lines->insert(lines->end(), more.begin(), more.end());
}

// A name and, from a column of its own, its explanation.
Lines entry(const std::string &name, const std::string &text)
{
    Lines lines;
    std::string head = "  " + name;
    for (const std::string &part : wrapped(text, screenColumns - textColumn)) {
        if (head.size() > textColumn - 2) {
            lines.push_back(head);
            head.clear();
        }
        lines.push_back(head + std::string(textColumn - head.size(), ' ') + part);
        head.clear();
    }
    if (!head.empty())
        lines.push_back(head);
    return lines;
}

Lines optionEntry(const CLI::Option &option)
{
    const std::string value = placeholder(option);
    const std::string names = shownNames(option);
    return entry(option.nonpositional() && !value.empty() ? names + ' ' + value : names,
                 explanationOf(option));
}

using Options = std::vector<const CLI::Option *>;

// Without those that print this very text; they come last.
Options optionsOf(const CLI::App &command, bool isPositional)
{
    return command.get_options([&](const CLI::Option *option) {
        return !option->get_group().empty() && option->nonpositional() != isPositional
            && !isInformational(command, option);
    });
}

Lines informationalOptions(const CLI::App &command)
{
    Lines lines = {"", "Help:"};
    for (const CLI::Option *option : command.get_options()) {
        if (isInformational(command, option))
            append(&lines, optionEntry(*option));
    }
    return lines;
}

// Each group's options under its name, in the order of the tree.
Lines groupedOptions(const Options &options)
{
    std::vector<std::string> groups;
    for (const CLI::Option *option : options) {
        if (std::find(groups.begin(), groups.end(), option->get_group()) == groups.end())
            groups.push_back(option->get_group());
    }
    Lines lines;
    for (const std::string &group : groups) {
        append(&lines, {"", group + ":"});
        for (const CLI::Option *option : options) {
            if (option->get_group() == group)
                append(&lines, optionEntry(*option));
        }
    }
    return lines;
}

Lines otherOptions(const Options &options, const std::string &command)
{
    std::string names;
    for (const CLI::Option *option : options)
        names += (names.empty() ? "" : " ") + shownNames(*option).substr(shownNames(*option).rfind("--"));
    Lines lines = {""};
    append(&lines, wrapped("More (vesk help " + command + "--all): " + names, screenColumns));
    return lines;
}

std::string usageOf(const CLI::App &command, const std::string &prefix)
{
    std::string text = "Usage: " + (prefix.empty() ? std::string() : prefix + ' ') + command.get_name();
    if (!command.get_subcommands(nullptr).empty())
        text += " VERB";
    text += " [OPTION...]";
    for (const CLI::Option *option : optionsOf(command, true))
        text += option->get_required() ? ' ' + option->get_name(true) : " [" + option->get_name(true) + ']';
    return text;
}

Lines verbLines(const CLI::App &command)
{
    Lines lines;
    for (const CLI::App *verb : command.get_subcommands(nullptr)) {
        if (verb->get_group().empty())
            continue;
        const std::string name = "  " + verb->get_name();
        lines.push_back(name + std::string(14 - std::min<std::size_t>(13, name.size()), ' ')
                        + summaryOf(*verb));
    }
    if (!lines.empty())
        lines.insert(lines.begin(), {"", "Verbs:"});
    return lines;
}

// All but the options.
Lines headOf(const CLI::App &command, const std::string &prefix)
{
    const std::string description = command.get_description();
    const std::size_t blankLine = description.rfind("\n\n");
    Lines lines;
    if (blankLine != std::string::npos)
        lines = CLI::detail::split(description.substr(0, blankLine), '\n');
    if (!lines.empty())
        lines.emplace_back();
    append(&lines,
           wrapped(blankLine == std::string::npos ? description : description.substr(blankLine + 2),
                   screenColumns));
    append(&lines, {"", usageOf(command, prefix)});
    for (const CLI::Option *option : optionsOf(command, true))
        append(&lines, optionEntry(*option));
    append(&lines, verbLines(command));
    return lines;
}

Lines pageWith(const CLI::App &command, const Lines &head, const Options &explained, const Options &named,
               const std::string &path)
{
    Lines lines = head;
    append(&lines, groupedOptions(explained));
    append(&lines, named.empty() ? informationalOptions(command) : otherOptions(named, path));
    return lines;
}

// What is typed after "vesk help", with a space behind it; nothing for the program itself.
std::string commandPath(const CLI::App &command, const std::string &prefix)
{
    if (prefix.empty())
        return {};
    const std::size_t space = prefix.find(' ');
    const std::string above = space == std::string::npos ? std::string() : prefix.substr(space + 1) + ' ';
    return above + command.get_name() + ' ';
}

// As many options as fit are explained; of those left out, the names are given.
Lines screenPage(const CLI::App &command, const std::string &prefix)
{
    const Lines head = headOf(command, prefix);
    const Options all = optionsOf(command, false);
    Options ranked = all;
    std::stable_sort(ranked.begin(), ranked.end(), [](const CLI::Option *left, const CLI::Option *right) {
        return rankOf(*left) < rankOf(*right);
    });
    Lines page;
    for (std::size_t count = ranked.size();; --count) {
        Options explained;
        Options named;
        for (const CLI::Option *option : all) {
            const auto rank = std::find(ranked.begin(), ranked.end(), option) - ranked.begin();
            (static_cast<std::size_t>(rank) < count ? explained : named).push_back(option);
        }
        page = pageWith(command, head, explained, named, commandPath(command, prefix));
        if (count == 0 || page.size() <= screenLines)
            return page;
    }
}

Lines fullPage(const CLI::App &command, const std::string &prefix)
{
    Lines lines = pageWith(command, headOf(command, prefix), optionsOf(command, false), {}, {});
    const CLI::App *root = command.get_parent();
    if (!root)
        return lines;
    while (root->get_parent())
        root = root->get_parent();
    append(&lines, {"", "Of every verb:"});
    for (const CLI::Option *option : optionsOf(*root, false))
        append(&lines, optionEntry(*option));
    return lines;
}

} // namespace

std::string summaryOf(const CLI::App &command)
{
    const std::string description = command.get_description();
    const std::size_t blankLine = description.rfind("\n\n");
    const std::string text = blankLine == std::string::npos ? description : description.substr(blankLine + 2);
    return text.substr(0, text.find_first_of(".,:"));
}

std::string helpPage(const CLI::App &command, const std::string &prefix, HelpExtent extent)
{
    const Lines lines = extent == HelpExtent::Full ? fullPage(command, prefix) : screenPage(command, prefix);
    return CLI::detail::join(lines, "\n") + "\n";
}

} // namespace VESK::Host
