#include "host/client/put_command.h"

#include "host/client/client_program.h"
#include "host/client/uploader.h"

#include <memory>

namespace VESK::Host
{

namespace
{

struct PutOptions : ClientOptions {
    std::vector<std::string> places; // sources, then the target
};

int put(const PutOptions &options, const CLI::App &command, const GlobalOptions &global)
{
    const QString verb = QStringLiteral("put");
    const bool hasList = !options.transfer.filesFrom.empty();
    if (options.places.size() < 2 && !hasList)
        return usageError(verb, QStringLiteral("put needs at least one FILE and a target HOST:SHARE[/DIR]"));
    if (options.places.size() > 2 && hasList)
        return usageError(verb, QStringLiteral("with --files-from, put takes one directory, or none"));
    QString error;
    const std::optional<RemoteAddress> target = settleRemote(options.places.back(), options, &error);
    if (!target && isRemotePlace(options.places.front())) // as for a download
        error += QStringLiteral("; the target comes last, and `vesk get` downloads");
    const std::optional<Selection> selection =
        target ? settleSelection(options, command, &error) : std::nullopt;
    if (!selection)
        return usageError(verb, error);
    QStringList sources;
    for (std::size_t i = 0; i + 1 < options.places.size(); ++i)
        sources.append(QString::fromStdString(options.places[i]));

    return runClient(verb, options, global, [&](const ClientContext &context) {
        Uploader uploader(context, *target, *selection);
        const TransferSummary summary = uploader.upload(sources);
        context.display.note(summaryText(summary) + QLatin1Char('\n'));
        return summary.exitCode;
    });
}

} // namespace

void addPutCommand(CLI::App &app, const GlobalOptions &global, int &exitCode)
{
    const auto options = std::make_shared<PutOptions>();
    CLI::App *command = app.add_subcommand(
        "put",
        "Examples:\n"
        "  vesk put film.mkv nas.example.org:incoming\n"
        "  vesk put -r raw nas:incoming/2026/spring --verify sha256\n"
        "  vesk put disk.img vesk://[2001:db8::7]:8375/incoming\n\n"
        "Uploads files, and with -r directories. What an interrupted upload has sent is kept; the same "
        "command goes on from there. A file that the server has already is not sent.");
    command
        ->add_option("FILE... TARGET", options->places,
                     "files, then HOST:SHARE[/DIR] or vesk://HOST[:PORT]/SHARE[/DIR]")
        ->required();
    addTransferOptions(*command, *options);
    addConnectionOptions(*command, *options);
    command->callback([options, command, &global, &exitCode] { exitCode = put(*options, *command, global); });
}

} // namespace VESK::Host
