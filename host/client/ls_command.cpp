#include "host/client/ls_command.h"

#include "host/client/client_program.h"
#include "host/client/listing_output.h"
#include "host/client/run_report.h"
#include "host/text.h"

#include <cerrno>
#include <memory>

namespace VESK::Host
{

namespace
{

struct LsOptions : ClientOptions {
    std::string place;
};

TaskJob listJob(const RemoteAddress &remote, ListingOutput &output)
{
    TaskJob job = listingOf(remote);
    job.takeBatch = [&output](const ParamMap &batch) { return output.write(batch); };
    job.mayRepeat = [&output] { return !output.hasBegun(); };
    return job;
}

ExitCode list(const ClientContext &context, const RemoteAddress &remote)
{
    RunReport report(context, Direction::None);
    ListingOutput output(context.settings.writesEvents ? ListingOutput::Form::Json
                                                       : ListingOutput::Form::Plain);
    Session session(context);
    session.use(remote);
    const TaskEnd end = session.run(listJob(remote, output));
    const bool isWritten = output.flush();
    if (end.kind == TaskEnd::Kind::Failed)
        report.addFailure(end.failure);
    else if (!isWritten && output.error() != EPIPE) // a reader that has seen enough is no failure
        report.addFailure({ExitCode::LocalFile,
                           QStringLiteral("cannot write to stdout: %1").arg(qt_error_string(output.error())),
                           {}});
    report.setListed(output.count());
    return report.finish().exitCode;
}

int ls(const LsOptions &options, const GlobalOptions &global)
{
    const QString verb = QStringLiteral("ls");
    QString error;
    const std::optional<RemoteAddress> remote = settleRemote(options.place, options, &error);
    if (!remote)
        return usageError(verb, error);
    return runClient(verb, options, global,
                     [&](const ClientContext &context) { return list(context, *remote); });
}

} // namespace

void addLsCommand(CLI::App &app, const GlobalOptions &global, int &exitCode)
{
    const auto options = std::make_shared<LsOptions>();
    options->progress = "none"; // names come at once
    CLI::App *command = app.add_subcommand(
        "ls",
        "Examples:\n"
        "  vesk ls nas.example.org:incoming\n"
        "  vesk ls nas:incoming/2026 --json\n\n"
        "Lists the whole tree below a directory of a server, one name a line, directories with a slash "
        "at the end. Hidden names are left out.");
    command->add_option("PLACE", options->place, "HOST:SHARE[/DIR] or vesk://HOST[:PORT]/SHARE[/DIR]")
        ->required();
    addConnectionOptions(*command, *options);
    command->callback([options, &global, &exitCode] { exitCode = ls(*options, global); });
}

} // namespace VESK::Host
