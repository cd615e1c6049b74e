#pragma once

#include <CLI/App.hpp>

#include <string>
#include <vector>

namespace VESK::Host
{

/// What a shell can offer as the value of an option or an argument.
enum class Completion { Nothing, Files, Directories, Choices };

/// An option, or an argument without a name, as a shell needs to know it.
struct CompletedOption {
    std::vector<std::string> names; ///< with their dashes; empty for an argument
    std::string text; ///< what it is for, on one line
    std::string value; ///< the word that stands for its value; empty for a flag
    Completion completion = Completion::Nothing;
    std::vector<std::string> choices; ///< for Completion::Choices
    bool isRepeatable = false;
    bool namesServers = false; ///< what the configuration calls remotes may stand there, too
};

/// A verb, or a verb of a verb.
struct CompletedCommand {
    std::string path; ///< "put", "config show"; empty for the program itself
    std::string text; ///< what it does, in a few words
    std::vector<CompletedOption> options; ///< its own and those of the commands above it
    std::vector<CompletedOption> arguments;
    std::vector<std::string> verbs; ///< names of the commands below it
};

/// All commands of the tree, the program itself first.
std::vector<CompletedCommand> completedCommands(const CLI::App &root);

/// `text` with a backslash before each of `special`.
std::string backslashed(const std::string &text, const std::string &special);

} // namespace VESK::Host
