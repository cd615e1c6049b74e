#include "host/completion/shell_scripts.h"

#include <CLI/StringTools.hpp>

namespace VESK::Host
{

namespace
{

// Bash takes "nas:dir" and "--verify=x" for several words.
const char *const bashHead = R"sh(# bash completion for vesk
_vesk_words() { # words
    COMPREPLY+=($(compgen -W "$1" -- "$cur"))
}

_vesk_paths() { # -f or -d
    local path
    while IFS= read -r path; do
        compopt -o filenames 2>/dev/null
        COMPREPLY+=("$path")
    done < <(compgen "$1" -- "$cur")
}

_vesk_remotes() {
    _vesk_words "$("${COMP_WORDS[0]/#\~/$HOME}" completion --remotes 2>/dev/null)"
    [[ ! ${COMPREPLY[*]} ]] || compopt -o nospace 2>/dev/null
}

_vesk() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]} command="" next i
    COMPREPLY=()
    [[ $prev != : && $cur != : ]] || return 0
    if [[ $cur == = ]]; then
        cur=""
    elif [[ $prev == = ]]; then
        prev=${COMP_WORDS[COMP_CWORD-2]}
    fi
    for ((i = 1; i < COMP_CWORD; i++)); do
        next="${command:+$command }${COMP_WORDS[i]}"
        case $next in
)sh";

const char *const tail = R"(}

complete -F _vesk vesk
)";

std::string offerValues(const CompletedOption &option)
{
    switch (option.completion) {
    case Completion::Choices:
        return "_vesk_words \"" + CLI::detail::join(option.choices, " ") + "\"";
    case Completion::Files:
        return "_vesk_paths -f";
    case Completion::Directories:
        return "_vesk_paths -d";
    case Completion::Nothing:
        break;
    }
    return ":";
}

std::string offer(const CompletedOption &option)
{
    return option.namesServers ? "_vesk_remotes; " + offerValues(option) : offerValues(option);
}

std::string commandPattern(const CompletedCommand &command)
{
    return '"' + command.path + '"';
}

// After an option that takes a value, this is what may follow.
std::string valueCases(const std::vector<CompletedCommand> &commands)
{
    std::string script = "    case $command/$prev in\n";
    for (const CompletedCommand &command : commands) {
        for (const CompletedOption &option : command.options) {
            if (option.value.empty())
                continue;
            std::string pattern;
            for (const std::string &name : option.names)
                pattern += (pattern.empty() ? "" : " | ") + commandPattern(command) + '/' + name;
            script += "    " + pattern + ") " + offer(option) + "; return 0 ;;\n";
        }
    }
    return script + "    esac\n";
}

std::string optionCases(const std::vector<CompletedCommand> &commands)
{
    std::string script = "    if [[ $cur == -* ]]; then\n        case $command in\n";
    for (const CompletedCommand &command : commands) {
        std::vector<std::string> names;
        for (const CompletedOption &option : command.options)
            names.insert(names.end(), option.names.begin(), option.names.end());
        script += "        " + commandPattern(command) + ") _vesk_words \"" + CLI::detail::join(names, " ")
            + "\" ;;\n";
    }
    return script + "        esac\n        return 0\n    fi\n";
}

std::string argumentCases(const std::vector<CompletedCommand> &commands)
{
    std::string script = "    case $command in\n";
    for (const CompletedCommand &command : commands) {
        if (!command.verbs.empty())
            script += "    " + commandPattern(command) + ") _vesk_words \""
                + CLI::detail::join(command.verbs, " ") + "\" ;;\n";
        else if (!command.arguments.empty())
            script += "    " + commandPattern(command) + ") " + offer(command.arguments.front()) + " ;;\n";
    }
    return script + "    esac\n";
}

} // namespace

std::string bashScript(const std::vector<CompletedCommand> &commands)
{
    std::string paths;
    for (const CompletedCommand &command : commands) {
        if (!command.path.empty())
            paths += (paths.empty() ? "" : " | ") + commandPattern(command);
    }
    return bashHead + ("        " + paths) + ") command=$next ;;\n        esac\n    done\n"
        + valueCases(commands) + optionCases(commands) + argumentCases(commands) + tail;
}

} // namespace VESK::Host
