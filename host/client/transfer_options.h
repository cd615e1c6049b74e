#pragma once

#include "host/client/client_context.h"
#include "host/client/selection.h"

#include <CLI/App.hpp>

#include <string>
#include <vector>

namespace VESK::Host
{

/// The options of a run that moves files, as they stand on the command line: how many connections, which
/// files, what with those that are there, and when to stop.
struct TransferOptions {
    std::string jobs = "auto";
    std::string existing = "update";
    std::string limitRate;
    std::string maxBytes;
    double maxSeconds = 0;
    std::vector<std::string> excludes;
    std::vector<std::string> includes;
    std::string filesFrom;
    bool namesEndWithNul = false;
    bool dryRun = false;
    bool explainsFilter = false;
    bool discards = false;
    bool failsIfNothing = false;

    /// What of it chooses files, the rules in the order of the command line. Nothing when a rule is no
    /// pattern or the list of names cannot be opened, with a sentence in `error`.
    std::optional<Selection> selection(const CLI::App &command, QString *error) const;
    void apply(ClientSettings &settings) const;

private:
    std::optional<PathFilter> filter(const CLI::App &command, QString *error) const;
};

/// Adds them to a verb. What is checked here is not checked again.
void addRunOptions(CLI::App &command, TransferOptions &options);

} // namespace VESK::Host
