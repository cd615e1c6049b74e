#include "host/completion/shell_scripts.h"

#include <CLI/StringTools.hpp>

#include <algorithm>

namespace VESK::Host
{

namespace
{

std::string shellWord(const std::string &text)
{
    std::string result = "'";
    for (const char character : text)
        result += character == '\'' ? std::string("'\\''") : std::string(1, character);
    return result + "'";
}

std::string functionName(const CompletedCommand &command)
{
    std::string name = "_vesk";
    if (!command.path.empty())
        name += '_' + command.path;
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
}

const char *const remotes = R"sh(_vesk_remotes() {
    local -a remotes=(${(f)"$(vesk completion --remotes 2>/dev/null)"})
    compadd -S '' -a remotes
}

_vesk_places() {
    _files
    _vesk_remotes
}

)sh";

std::string action(const CompletedOption &option)
{
    if (option.namesServers)
        return option.completion == Completion::Nothing ? "_vesk_remotes" : "_vesk_places";
    switch (option.completion) {
    case Completion::Choices:
        return "(" + CLI::detail::join(option.choices, " ") + ")";
    case Completion::Files:
        return "_files";
    case Completion::Directories:
        return "_files -/";
    case Completion::Nothing:
        break;
    }
    return " "; // shown, and nothing offered
}

std::string valuePart(const CompletedOption &option)
{
    return option.value.empty() ? std::string() : ':' + backslashed(option.value, ":") + ':' + action(option);
}

// One argument of _arguments a name: of names that exclude each other, unless the option can be repeated.
std::string optionLines(const CompletedOption &option)
{
    std::string lines;
    const std::string head =
        option.isRepeatable ? std::string("*") : "(" + CLI::detail::join(option.names, " ") + ")";
    for (const std::string &name : option.names) {
        const bool isLong = name.rfind("--", 0) == 0;
        const std::string sign = option.value.empty() ? "" : (isLong ? "=" : "+");
        lines += " \\\n        "
            + shellWord(head + name + sign + '[' + backslashed(option.text, "[]:\\") + ']'
                        + valuePart(option));
    }
    return lines;
}

std::string verbLines(const CompletedCommand &command, const std::vector<CompletedCommand> &commands)
{
    std::string lines = "    local -a verbs=(\n";
    for (const std::string &verb : command.verbs) {
        const std::string path = command.path.empty() ? verb : command.path + ' ' + verb;
        const auto found = std::find_if(commands.begin(), commands.end(),
                                        [&](const CompletedCommand &other) { return other.path == path; });
        lines += "        " + shellWord(verb + ':' + backslashed(found->text, ":")) + '\n';
    }
    lines += "    )\n    case $state in\n    verb) _describe verb verbs ;;\n    rest)\n        case "
             "$words[1] in\n";
    for (const std::string &verb : command.verbs)
        lines += "        " + verb + ") " + functionName(command) + '_' + verb + " ;;\n";
    return lines + "        esac\n        ;;\n    esac\n";
}

std::string function(const CompletedCommand &command, const std::vector<CompletedCommand> &commands)
{
    std::string script = functionName(command)
        + "() {\n    local curcontext=$curcontext state line\n"
          "    typeset -A opt_args\n    _arguments -C";
    for (const CompletedOption &option : command.options)
        script += optionLines(option);
    if (!command.verbs.empty())
        return script + " \\\n        '1: :->verb' '*:: :->rest'\n" + verbLines(command, commands) + "}\n\n";
    for (const CompletedOption &argument : command.arguments)
        script += " \\\n        "
            + shellWord((argument.isRepeatable ? "*" : "") + (":" + backslashed(argument.value, ":")) + ':'
                        + action(argument));
    return script + "\n}\n\n";
}

} // namespace

std::string zshScript(const std::vector<CompletedCommand> &commands)
{
    std::string script = std::string("#compdef vesk\n\n") + remotes;
    for (const CompletedCommand &command : commands)
        script += function(command, commands);
    // As a file of fpath it is run to complete; sourced, it only makes itself known.
    return script
        + "if [[ ${funcstack[1]-} == _vesk ]]; then\n    _vesk \"$@\"\nelse\n    compdef _vesk vesk\nfi\n";
}

} // namespace VESK::Host
