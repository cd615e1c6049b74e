#include "host/program.h"

#include "host/client/get_command.h"
#include "host/client/ls_command.h"
#include "host/client/mkdir_command.h"
#include "host/client/ping_command.h"
#include "host/client/put_command.h"
#include "host/completion/completion_command.h"
#include "host/config/config_command.h"
#include "host/config/setting_value.h"
#include "host/demo/demo_command.h"
#include "host/doctor/doctor_command.h"
#include "host/event_writer.h"
#include "host/exit_code.h"
#include "host/help.h"
#include "host/server/partials_command.h"
#include "host/server/serve_command.h"
#include "host/standard_streams.h"
#include "host/text.h"
#include "host/usage_failure.h"
#include "host/version.h"
#include "host/version_command.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <sstream>
#include <string_view>

namespace VESK::Host
{

namespace
{

void addVerbs(CLI::App &app, GlobalOptions &global, int &exitCode)
{
    app.description("Examples:\n"
                    "  vesk demo                              see it work on this machine\n"
                    "  vesk serve /srv/incoming               offer a directory\n"
                    "  vesk put film.mkv nas:incoming         upload a file\n"
                    "  vesk get nas:incoming/film.mkv .       download it\n"
                    "  vesk ls nas:incoming                   list what is there\n\n"
                    "Moves large files over long, fast, lossy lines.");
    app.formatter(std::make_shared<HelpFormatter>());
    app.set_help_flag("-h,--help", "explain what is needed most");
    app.set_help_all_flag("--help-all", "explain all options");
    app.require_subcommand(1);
    app.fallthrough();
    app.add_option("--config", global.config, "the configuration (default: ~/.config/vesk/vesk.toml)")
        ->type_name("FILE");
    app.add_option("--module", global.module, "the handler module to use")->type_name("FILE");
    app.set_version_flag("--version", "vesk " + programVersion().toStdString(), "print the version");
    addServeCommand(app, global, exitCode, addVerbs);
    addPutCommand(app, global, exitCode);
    addGetCommand(app, global, exitCode);
    addLsCommand(app, global, exitCode);
    addMkdirCommand(app, global, exitCode);
    addPingCommand(app, global, exitCode);
    addDoctorCommand(app, global, exitCode);
    addPartialsCommand(app, exitCode);
    addDemoCommand(app, global, exitCode);
    addConfigCommand(app, global, exitCode, addVerbs);
    addCompletionCommand(app, global, exitCode);
    addVersionCommand(app, global, exitCode);
    addHelpCommand(app, exitCode);
}

// Wrong use may be noticed before options are understood.
bool seemsToWantEvents(int argc, char **argv)
{
    const char *variable = std::getenv("VESK_JSON"); // NOLINT(concurrency-mt-unsafe): before any other thread
    const bool isSaid = std::find(argv + 1, argv + argc, std::string_view("--json")) != argv + argc;
    return isSaid || (variable && isTrue(variable));
}

int run(int argc, char **argv)
{
    if (seemsToWantEvents(argc, argv))
        wantEvents();
    ConfiguredApp app(addVerbs);
    try {
        app.parseArguments(argc, argv);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() != 0)
            return tellFailure(usageFailure(app, error));
        std::ostringstream text; // of a page that was asked for
        app.exit(error, text, text);
        writeStdout(QString::fromStdString(text.str()));
    } catch (const ConfigError &error) {
        return tellFailure(error.failure());
    }
    return app.exitCode();
}

} // namespace

int runProgram(int argc, char **argv)
{
    try {
        return exitCodeWithStdout(run(argc, argv));
    } catch (const std::exception &error) {
        return tellFailure(
            {ExitCode::Internal,
             QStringLiteral("internal error: %1").arg(escaped(QString::fromLocal8Bit(error.what()))),
             {QStringLiteral(
                 "Is there enough memory? Otherwise it is a defect of this program; please report it.")},
             QStringLiteral("Internal")});
    }
}

} // namespace VESK::Host
