#include "host/client/output_options.h"

#include "host/client/progress_events.h"
#include "host/duration_option.h"
#include "host/terminal.h"

namespace VESK::Host
{

namespace
{

constexpr qint64 eventIntervalMs = 1000;

} // namespace

void addOutputOptions(CLI::App &command, OutputOptions &options)
{
    const char *const group = "Output";
    command.add_option("--stats", options.statsSeconds, "a line of progress so often, as in 30s or 5m")
        ->transform(durationInSeconds())
        ->check(CLI::Range(0.0, 86400.0))
        ->type_name("TIME")
        ->group(group);
    command.add_option("--log-file", options.logFile, "append all that is said, with the time")
        ->type_name("FILE")
        ->group(group);
    command.add_flag("--no-color", options.noColour, "no colours, as with NO_COLOR")->group(group);
}

ProgressSettings progressSettings(const OutputOptions &options, ProgressStyle style, bool isQuiet,
                                  bool writesEvents)
{
    ProgressSettings settings;
    settings.style = style;
    // Events and lines that are drawn over would spoil each other on one terminal.
    if (style == ProgressStyle::Auto && writesEvents && stdoutIsTerminal())
        settings.style = ProgressStyle::None;
    settings.lineIntervalMs = static_cast<qint64>(options.statsSeconds * 1000);
    settings.isQuiet = isQuiet;
    settings.hasColour = !options.noColour && wantsColour();
    if (writesEvents) {
        settings.reportIntervalMs = settings.lineIntervalMs > 0 ? settings.lineIntervalMs : eventIntervalMs;
        settings.report = writeProgressEvent;
    }
    return settings;
}

} // namespace VESK::Host
