#include "host/client/get_command.h"
#include "host/client/ls_command.h"
#include "host/client/mkdir_command.h"
#include "host/client/put_command.h"
#include "host/demo/demo_command.h"
#include "host/exit_code.h"
#include "host/help.h"
#include "host/server/serve_command.h"
#include "host/signals.h"
#include "host/standard_streams.h"
#include "host/text.h"
#include "host/version.h"

#include <CLI/CLI.hpp>
#include <QtCore/QCoreApplication>
#include <QtCore/QTextCodec>

#include <cstdlib>
#include <exception>

namespace
{

using namespace VESK::Host;

int run(int argc, char **argv)
{
    CLI::App app("Examples:\n"
                 "  vesk demo                              see it work on this machine\n"
                 "  vesk serve /srv/incoming               offer a directory\n"
                 "  vesk put film.mkv nas:incoming         upload a file\n"
                 "  vesk get nas:incoming/film.mkv .       download it\n"
                 "  vesk ls nas:incoming                   list what is there\n\n"
                 "Moves large files over long, fast, lossy lines.",
                 "vesk");
    int exitCode = number(ExitCode::Success);
    GlobalOptions global;
    app.formatter(std::make_shared<HelpFormatter>());
    app.require_subcommand(1);
    app.fallthrough();
    app.add_option("--module", global.module, "the handler module to use")->envname("VESK_MODULE");
    app.set_version_flag("--version", "vesk " + programVersion().toStdString());
    addServeCommand(app, global, exitCode);
    addPutCommand(app, global, exitCode);
    addGetCommand(app, global, exitCode);
    addLsCommand(app, global, exitCode);
    addMkdirCommand(app, global, exitCode);
    addDemoCommand(app, global, exitCode);
    app.add_subcommand("version", "Prints the version.")->callback([] {
        writeStdout(QStringLiteral("vesk %1\n").arg(programVersion()));
    });
    addHelpCommand(app, exitCode);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? exitCode : number(ExitCode::Usage);
    }
    return exitCode;
}

} // namespace

int main(int argc, char **argv)
{
    occupyStandardStreams();
    holdSignals();
    QCoreApplication application(argc, argv);
    // File names are bytes, and theirs are taken as UTF-8 whatever the locale: services often have none.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    try {
        return exitCodeWithStdout(run(argc, argv));
    } catch (const std::exception &error) {
        writeStderr(QStringLiteral("error: internal error: %1\n").arg(QString::fromLocal8Bit(error.what())));
    }
    return number(ExitCode::Internal);
}
