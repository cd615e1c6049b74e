#pragma once

#include "host/config/config_file.h"
#include "host/errors.h"
#include "host/global_options.h"

#include <CLI/App.hpp>

#include <exception>
#include <functional>
#include <string>
#include <vector>

namespace VESK::Host
{

/// Adds all options and verbs of the program to `root`. What the verbs come to goes to `exitCode`; both
/// references must outlive the tree.
using TreeBuilder = std::function<void(CLI::App &root, GlobalOptions &global, int &exitCode)>;

/// A command line that is never run: to read what the program takes, and to try values on.
class ScratchTree
{
public:
    explicit ScratchTree(const TreeBuilder &build) { build(m_app, m_global, m_exitCode); }
    CLI::App &app() { return m_app; }

private:
    GlobalOptions m_global;
    int m_exitCode = 0;
    CLI::App m_app{"", "vesk"};
};

/// What is wrong outside the command line: in the configuration or the environment.
class ConfigError : public std::exception
{
public:
    explicit ConfigError(Failure failure)
        : m_failure(std::move(failure))
    {
    }
    const Failure &failure() const { return m_failure; }
    const char *what() const noexcept override { return "configuration"; }

private:
    Failure m_failure;
};

/// All problems of a file as one failure: the first says what, the others follow.
Failure configFailure(const ConfigFile &file, const std::vector<ConfigProblem> &problems);

/// The program's command line. When a verb is about to run, its options that were not given there get
/// their values from the environment, the profile of the remote that is addressed, and the configuration;
/// addresses that name a profile are replaced by the place they stand for. Options are found by walking the
/// tree, so a verb that has one more needs to do nothing.
///
/// Parsing throws a ConfigError where one of these sources is wrong.
class ConfiguredApp : public CLI::App
{
public:
    /// Adds what `build` adds.
    explicit ConfiguredApp(TreeBuilder build);
    /// Parses the arguments of main() and runs what they ask for; throws as parse() does.
    void parseArguments(int argc, const char *const *argv);
    int exitCode() const { return m_exitCode; }

protected:
    void pre_callback() override;

private:
    ConfigFile checkedConfiguration();
    void deferRequirements();
    void checkRequirements() const;

    const TreeBuilder m_build;
    GlobalOptions m_global;
    int m_exitCode = 0;
    std::vector<CLI::Option *> m_deferred; // required, but not on the command line
};

} // namespace VESK::Host
