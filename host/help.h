#pragma once

#include <CLI/CLI.hpp>

#include <memory>
#include <string>

namespace VESK::Host
{

/// Descriptions of verbs begin with examples and end, after a blank line, with what the verb does. This
/// formatter makes pages of them; see helpPage().
class HelpFormatter : public CLI::Formatter
{
public:
    std::string make_help(const CLI::App *command, std::string name, CLI::AppFormatMode mode) const override;
};

/// Adds the verb `help [VERB]`. What it asks for is printed to stdout; `exitCode` tells of an unknown verb.
void addHelpCommand(CLI::App &app, int &exitCode);

} // namespace VESK::Host
