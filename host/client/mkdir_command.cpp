#include "host/client/mkdir_command.h"

#include "host/client/client_program.h"
#include "host/client/run_report.h"
#include "host/text.h"

#include <memory>

namespace VESK::Host
{

namespace
{

struct MkdirOptions : ClientOptions {
    std::vector<std::string> places;
};

ExitCode makeDirectories(const ClientContext &context, const std::vector<RemoteAddress> &remotes)
{
    RunReport report(context, Direction::None);
    Session session(context);
    for (const RemoteAddress &remote : remotes) {
        if (context.interruption.isRaised())
            break;
        session.use(remote);
        TaskJob job;
        job.operation = Operation::CreateDir;
        job.shownName = escaped(remote.share + QLatin1Char('/') + remote.path);
        job.share = remote.share;
        job.rootPath = remote.path; // as the root, so that no modes are set above it
        job.userName = remote.user;
        report.addDirectory(job, session.run(job));
    }
    return report.finish().exitCode;
}

int mkdir(const MkdirOptions &options, const GlobalOptions &global)
{
    const QString verb = QStringLiteral("mkdir");
    QString error;
    std::vector<RemoteAddress> remotes;
    for (const std::string &place : options.places) {
        const std::optional<RemoteAddress> remote = settleRemote(place, options, &error);
        if (!remote)
            return usageError(verb, error);
        if (remote->path.isEmpty())
            return usageError(verb,
                              QStringLiteral("%1 names a share and no directory in it").arg(escaped(place)));
        remotes.push_back(*remote);
    }
    return runClient(verb, options, global,
                     [&](const ClientContext &context) { return makeDirectories(context, remotes); });
}

} // namespace

void addMkdirCommand(CLI::App &app, const GlobalOptions &global, int &exitCode)
{
    const auto options = std::make_shared<MkdirOptions>();
    options->progress = "none"; // nothing moves
    CLI::App *command =
        app.add_subcommand("mkdir",
                           "Examples:\n"
                           "  vesk mkdir nas.example.org:incoming/2026/spring\n\n"
                           "Creates directories on a server, with those above them. One that is there "
                           "already is as good.");
    command->add_option("PLACE...", options->places, "HOST:SHARE/DIR or vesk://HOST[:PORT]/SHARE/DIR")
        ->required();
    addConnectionOptions(*command, *options);
    command->callback([options, &global, &exitCode] { exitCode = mkdir(*options, global); });
}

} // namespace VESK::Host
