#include "host/completion/shell_scripts.h"

#include <CLI/StringTools.hpp>

namespace VESK::Host
{

namespace
{

std::string fishWord(const std::string &text)
{
    return '\'' + backslashed(text, "'\\") + '\'';
}

// The words given so far begin with these, options left out.
const char *const fishHead = R"(# fish completion for vesk
function __vesk_command
    set -l command
    for word in (commandline -opc)[2..-1]
        set -l next (string join -- ' ' $command $word)
        if contains -- $next $__vesk_commands
            set command $next
        end
    end
    test "$command" = "$argv[1]"
end

complete -c vesk -f
)";

std::string condition(const CompletedCommand &command)
{
    return "complete -c vesk -n " + fishWord("__vesk_command " + fishWord(command.path));
}

std::string valueFlags(const CompletedOption &option)
{
    switch (option.completion) {
    case Completion::Choices:
        return " -x -a " + fishWord(CLI::detail::join(option.choices, " "));
    case Completion::Files:
        return " -r -F";
    case Completion::Directories:
        return " -x -a '(__fish_complete_directories)'";
    case Completion::Nothing:
        break;
    }
    return " -x";
}

std::string optionLine(const CompletedCommand &command, const CompletedOption &option)
{
    std::string line = condition(command);
    for (const std::string &name : option.names)
        line += name.rfind("--", 0) == 0 ? " -l " + name.substr(2) : " -s " + name.substr(1);
    if (!option.value.empty())
        line += valueFlags(option);
    return line + " -d " + fishWord(option.text) + '\n';
}

std::string argumentLine(const CompletedCommand &command)
{
    const CompletedOption &argument = command.arguments.front();
    const std::string remotes = argument.namesServers
        ? condition(command) + " -a '(command -q vesk; and vesk completion --remotes 2>/dev/null)'\n"
        : "";
    if (argument.completion == Completion::Nothing)
        return remotes;
    if (argument.completion == Completion::Files)
        return remotes + condition(command) + " -F\n";
    return remotes + condition(command) + valueFlags(argument) + '\n';
}

} // namespace

std::string fishScript(const std::vector<CompletedCommand> &commands)
{
    std::string known;
    std::string lines;
    for (const CompletedCommand &command : commands) {
        if (!command.path.empty())
            known += ' ' + fishWord(command.path);
        for (const CompletedOption &option : command.options)
            lines += optionLine(command, option);
        const std::string prefix = command.path.empty() ? std::string() : command.path + ' ';
        for (const CompletedCommand &verb : commands) {
            const bool isBelow = verb.path.size() > prefix.size() && verb.path.rfind(prefix, 0) == 0
                && verb.path.find(' ', prefix.size()) == std::string::npos;
            if (isBelow)
                lines += condition(command) + " -a " + verb.path.substr(prefix.size()) + " -d "
                    + fishWord(verb.text) + '\n';
        }
        if (!command.arguments.empty())
            lines += argumentLine(command);
    }
    return "set -g __vesk_commands" + known + '\n' + fishHead + lines;
}

} // namespace VESK::Host
