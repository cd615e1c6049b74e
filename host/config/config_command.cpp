#include "host/config/config_command.h"

#include "host/config/config_check.h"
#include "host/config/config_location.h"
#include "host/config/config_report.h"
#include "host/config/remote_profile.h"
#include "host/text.h"

#include <memory>

namespace VESK::Host
{

namespace
{

struct ConfigOptions {
    std::string remote;
    bool json = false;
};

// Nothing with the failure already told.
std::optional<ConfigFile> read(const GlobalOptions &global, bool isJson)
{
    QString error;
    std::optional<ConfigFile> file = readConfiguration(global.config, &error);
    if (!file)
        reportFailure({ExitCode::Usage, error, {}}, isJson);
    return file;
}

int show(const ConfigOptions &options, const GlobalOptions &global, const TreeBuilder &build)
{
    const std::optional<ConfigFile> file = read(global, options.json);
    if (!file)
        return number(ExitCode::Usage);
    ScratchTree trial(build);
    const std::vector<ConfigProblem> problems = checkConfig(*file, trial.app());
    if (!problems.empty()) {
        reportFailure(configFailure(*file, problems), options.json);
        return number(ExitCode::Usage);
    }
    if (!options.remote.empty() && file->remotes.count(options.remote) == 0) {
        const QString name = escaped(options.remote);
        reportFailure({ExitCode::Usage, QStringLiteral("there is no [remote.%1]").arg(name), {}},
                      options.json);
        return number(ExitCode::Usage);
    }
    ScratchTree tree(build); // with the defaults that the other one has lost
    const bool isRight =
        reportSettings(*file, configPath(global.config), tree.app(), options.remote, options.json);
    return number(isRight ? ExitCode::Success : ExitCode::Usage);
}

int check(const ConfigOptions &options, const GlobalOptions &global, const TreeBuilder &build)
{
    const std::optional<ConfigFile> file = read(global, options.json);
    if (!file)
        return number(ExitCode::Usage);
    ScratchTree scratch(build);
    std::vector<ConfigProblem> problems = checkConfig(*file, scratch.app());
    ScratchTree fresh(build);
    const std::vector<ConfigProblem> more = checkEnvironment(fresh.app());
    reportCheck(*file, configPath(global.config), problems, more, options.json);
    return number(problems.empty() && more.empty() ? ExitCode::Success : ExitCode::Usage);
}

} // namespace

void addConfigCommand(CLI::App &app, const GlobalOptions &global, int &exitCode, const TreeBuilder &build)
{
    const auto options = std::make_shared<ConfigOptions>();
    CLI::App *verb =
        app.add_subcommand("config",
                           "Examples:\n"
                           "  vesk config show\n"
                           "  vesk config show --remote nas\n"
                           "  vesk config check --config new.toml\n\n"
                           "Shows the settings that hold and where each comes from, or checks the "
                           "configuration. What stands in its file is explained by vesk.toml(5).");
    verb->require_subcommand(1);
    CLI::App *showVerb = verb->add_subcommand(
        "show",
        "Examples:\n"
        "  vesk config show\n"
        "  vesk config show --remote nas\n\n"
        "Shows the settings that hold, each with its origin: a variable of the environment, a line of the "
        "configuration, or the default. Options on a command line beat all of them.");
    showVerb->add_option("--remote", options->remote, "as they hold for the [remote.NAME]")
        ->type_name("NAME");
    showVerb->add_flag("--json", options->json, "write a line of JSON a setting to stdout");
    showVerb->callback([=, &global, &exitCode] { exitCode = show(*options, global, build); });
    CLI::App *checkVerb =
        verb->add_subcommand("check",
                             "Examples:\n"
                             "  vesk config check\n"
                             "  vesk config check --config new.toml\n\n"
                             "Checks the configuration, and the variables of the environment that begin "
                             "with VESK_. Each fault is named with its line.");
    checkVerb->add_flag("--json", options->json, "write a line of JSON a fault to stdout");
    checkVerb->callback([=, &global, &exitCode] { exitCode = check(*options, global, build); });
}

} // namespace VESK::Host
