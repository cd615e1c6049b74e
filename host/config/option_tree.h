#pragma once

#include <CLI/App.hpp>

#include <string>
#include <vector>

namespace VESK::Host
{

/// An option of a verb that can be given elsewhere than on the command line, too. Which those are, and what
/// they are called there, follows from the command line alone: `--stall-timeout` is the variable
/// VESK_STALL_TIMEOUT and the key `stall_timeout` in the section of its verb.
struct Setting {
    CLI::Option *option = nullptr; ///< owned by the tree it was found in
    std::string section; ///< of the configuration; empty: at its top
    std::string key; ///< in that section; empty: not in the configuration at all
    std::string variable; ///< of the environment
};

/// What kind of value an option takes.
enum class ValueKind { Flag, Number, Text };

/// Section of the configuration for the options of a first-level verb: "serve", "demo", "partials", or
/// "client" for all that talk to a server. Empty for verbs that are about the program itself; these take
/// nothing from it.
std::string sectionOf(const CLI::App &verb);

/// The settings of one command: of its options, without those that ask for help or a version. `section` as
/// of sectionOf(), or empty for the program's own.
std::vector<Setting> settingsOf(const CLI::App &command, const std::string &section);

/// The settings of the program and of all verbs, in the order of the tree.
std::vector<Setting> allSettings(const CLI::App &root);

/// The verb that was given, and below it the command that was: the same, unless verbs have verbs. Null
/// when none was.
const CLI::App *givenVerb(const CLI::App &root);
const CLI::App *givenCommand(const CLI::App &root);

/// True for the options that print a help text or a version and end the program.
bool isInformational(const CLI::App &command, const CLI::Option *option);

ValueKind valueKind(const CLI::Option &option);
/// True when the option can be given several times, each a value more.
bool takesSeveral(const CLI::Option &option);
/// The word that stands for its value in a help text: "N", "FILE". Empty for a flag.
std::string placeholder(const CLI::Option &option);
/// The values it takes, when these are a few words; else none.
std::vector<std::string> choicesOf(const CLI::Option &option);
/// "-p, --port"; or the word that stands for a positional one.
std::string shownNames(const CLI::Option &option);

} // namespace VESK::Host
