#pragma once

#include <CLI/CLI.hpp>

#include <memory>
#include <string>

namespace VESK::Host
{

/// Descriptions of verbs begin with examples and end, after a blank line, with what the verb does. This
/// formatter shows all of it on the verb's own page, and one line a verb in the list of them.
class HelpFormatter : public CLI::Formatter
{
public:
    std::string make_subcommand(const CLI::App *verb) const override;
};

/// Adds the verb `help [VERB]`. What it asks for is printed to stdout; `exitCode` tells of an unknown verb.
void addHelpCommand(CLI::App &app, int &exitCode);

} // namespace VESK::Host
