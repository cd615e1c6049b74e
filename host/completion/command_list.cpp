#include "host/completion/command_list.h"

#include "host/config/option_tree.h"
#include "host/help_page.h"

namespace VESK::Host
{

namespace
{

bool holds(const std::string &text, const char *part)
{
    return text.find(part) != std::string::npos;
}

bool namesServers(const std::string &argument)
{
    return holds(argument, "TARGET") || holds(argument, "SOURCE") || holds(argument, "PLACE")
        || holds(argument, "SERVER");
}

CompletedOption describe(const CLI::Option &option)
{
    CompletedOption result;
    for (const std::string &name : option.get_snames())
        result.names.push_back("-" + name);
    for (const std::string &name : option.get_lnames())
        result.names.push_back("--" + name);
    result.text = option.get_description();
    result.value = option.nonpositional() ? placeholder(option) : option.get_name(true);
    result.isRepeatable = takesSeveral(option);
    result.choices = choicesOf(option);
    if (!result.choices.empty())
        result.completion = Completion::Choices;
    else if (holds(result.value, "=")) // a path behind something else is none for the shell
        result.completion = Completion::Nothing;
    else if (holds(result.value, "FILE") || holds(result.value, "SOURCE") || holds(result.value, "PATH"))
        result.completion = Completion::Files;
    else if (holds(result.value, "DIR"))
        result.completion = Completion::Directories;
    result.namesServers = !option.nonpositional() && namesServers(result.value);
    return result;
}

void addOptions(const CLI::App &command, bool isInherited, CompletedCommand *result)
{
    for (const CLI::Option *option : command.get_options()) {
        if (option->get_group().empty() || (isInherited && isInformational(command, option)))
            continue;
        if (option->nonpositional())
            result->options.push_back(describe(*option));
        else if (!isInherited)
            result->arguments.push_back(describe(*option));
    }
}

void addCommand(const CLI::App &command, const std::string &path, std::vector<CompletedCommand> *commands)
{
    CompletedCommand result;
    result.path = path;
    result.text = summaryOf(command);
    for (const CLI::App *level = &command; level; level = level->get_parent())
        addOptions(*level, level != &command, &result);
    const std::vector<const CLI::App *> verbs = command.get_subcommands(
        [](const CLI::App *verb) { return !verb->get_name().empty() && !verb->get_group().empty(); });
    for (const CLI::App *verb : verbs)
        result.verbs.push_back(verb->get_name());
    commands->push_back(result);
    for (const CLI::App *verb : verbs)
        addCommand(*verb, path.empty() ? verb->get_name() : path + ' ' + verb->get_name(), commands);
}

} // namespace

std::vector<CompletedCommand> completedCommands(const CLI::App &root)
{
    std::vector<CompletedCommand> commands;
    addCommand(root, {}, &commands);
    for (CompletedCommand &command : commands) {
        if (command.path != "help")
            continue;
        command.arguments.front().completion = Completion::Choices;
        command.arguments.front().choices = commands.front().verbs;
    }
    return commands;
}

std::string backslashed(const std::string &text, const std::string &special)
{
    std::string result;
    for (const char character : text) {
        if (special.find(character) != std::string::npos)
            result += '\\';
        result += character;
    }
    return result;
}

} // namespace VESK::Host
