#pragma once

#include <CLI/App.hpp>

#include <string>

namespace VESK::Host
{

/// How much a page explains: what fits a screen of 80 columns and 30 lines, naming the other options, or
/// everything.
enum class HelpExtent { Screen, Full };

/// The help text of a command: examples, what it does, its arguments and options, those that are needed
/// most first. `prefix` is what is typed before its name ("vesk", "vesk config").
std::string helpPage(const CLI::App &command, const std::string &prefix, HelpExtent extent);

/// What a verb does, in a few words without a full stop.
std::string summaryOf(const CLI::App &command);

} // namespace VESK::Host
