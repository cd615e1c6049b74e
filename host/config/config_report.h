#pragma once

#include "host/config/config_file.h"
#include "host/errors.h"

#include <CLI/App.hpp>

#include <string>
#include <vector>

namespace VESK::Host
{

/// A failure as text on stderr, or as an event on stdout.
void reportFailure(const Failure &failure, bool isJson);

/// Writes to stdout all settings of `tree` with their values and origins, as they hold for the remote named
/// (empty: for none). `path` is where the configuration would be. False when a variable holds no value;
/// that is told.
bool reportSettings(const ConfigFile &file, const QString &path, CLI::App &tree, const std::string &remote,
                    bool isJson);

/// Variables that look like settings and are none, or hold what their option does not take. The options of
/// `scratch` have values afterwards.
std::vector<ConfigProblem> checkEnvironment(CLI::App &scratch);

/// Writes to stdout what a check has found.
void reportCheck(const ConfigFile &file, const QString &path, const std::vector<ConfigProblem> &ofFile,
                 const std::vector<ConfigProblem> &ofEnvironment, bool isJson);

} // namespace VESK::Host
