#pragma once

#include "host/progress_display.h"

#include <CLI/App.hpp>

#include <string>

namespace VESK::Host
{

/// What a run of the client says, and where, beside the options that every program has.
struct OutputOptions {
    double statsSeconds = 0; ///< a line of progress so often; 0: as the style of progress has it
    std::string logFile; ///< everything that is said goes there as well; empty: nowhere
    bool noColour = false;
};

void addOutputOptions(CLI::App &command, OutputOptions &options);

/// How a run shows its progress. `style` is what was asked for; `writesEvents`: stdout bears events.
ProgressSettings progressSettings(const OutputOptions &options, ProgressStyle style, bool isQuiet,
                                  bool writesEvents);

} // namespace VESK::Host
