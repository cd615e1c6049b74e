#include "host/client/get_command.h"

#include "host/client/client_program.h"
#include "host/client/downloader.h"
#include "host/text.h"

#include <memory>

namespace VESK::Host
{

namespace
{

struct GetOptions : ClientOptions {
    std::vector<std::string> places; // sources, then the local directory
};

// False with the reason in `error`.
bool settleSources(const GetOptions &options, std::vector<RemoteAddress> *sources, QString *error)
{
    if (options.places.size() < 2) {
        *error = QStringLiteral("get needs at least one HOST:SHARE/PATH and a local directory");
        return false;
    }
    for (std::size_t i = 0; i + 1 < options.places.size(); ++i) {
        const std::optional<RemoteAddress> source = settleRemote(options.places[i], options, error);
        if (!source) {
            if (isRemotePlace(options.places.back())) // as for an upload
                *error += QStringLiteral("; the local directory comes last, and `vesk put` uploads");
            return false;
        }
        if (source->path.isEmpty() && !options.recursive && options.transfer.filesFrom.empty()) {
            *error = QStringLiteral("%1 is a whole share; with -r, it is downloaded with all that is in it")
                         .arg(escaped(options.places[i]));
            return false;
        }
        sources->push_back(*source);
    }
    if (!options.transfer.filesFrom.empty() && sources->size() != 1) {
        *error = QStringLiteral("with --files-from, get takes one HOST:SHARE[/DIR] and a local directory");
        return false;
    }
    return true;
}

int get(const GetOptions &options, const CLI::App &command, const GlobalOptions &global)
{
    const QString verb = QStringLiteral("get");
    QString error;
    std::vector<RemoteAddress> sources;
    const std::optional<Selection> selection =
        settleSources(options, &sources, &error) ? settleSelection(options, command, &error) : std::nullopt;
    if (!selection)
        return usageError(verb, error);
    const QString directory = givenFileName(options.places.back());

    return runClient(verb, options, global, [&](const ClientContext &context) {
        Downloader downloader(context, directory, *selection);
        const TransferSummary summary = downloader.download(sources);
        context.display.note(summaryText(summary) + QLatin1Char('\n'));
        return summary.exitCode;
    });
}

} // namespace

void addGetCommand(CLI::App &app, const GlobalOptions &global, int &exitCode)
{
    const auto options = std::make_shared<GetOptions>();
    CLI::App *command = app.add_subcommand(
        "get",
        "Examples:\n"
        "  vesk get nas.example.org:incoming/film.mkv .\n"
        "  vesk get -r nas:incoming/2026/spring /srv/raw\n"
        "  vesk get -r vesk://[2001:db8::7]:8375/incoming /srv\n\n"
        "Downloads files, and with -r directories, into a directory. What an interrupted download has "
        "received is kept; the same command goes on from there. A file that is here already is not "
        "received again.");
    command
        ->add_option("SOURCE... DIR", options->places,
                     "HOST:SHARE/PATH or vesk://HOST[:PORT]/SHARE/PATH, any number; then a local directory, "
                     "which is made when it is missing")
        ->required();
    addTransferOptions(*command, *options);
    addConnectionOptions(*command, *options);
    command->callback([options, command, &global, &exitCode] { exitCode = get(*options, *command, global); });
}

} // namespace VESK::Host
