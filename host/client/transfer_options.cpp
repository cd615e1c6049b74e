#include "host/client/transfer_options.h"

#include "host/bytes_option.h"
#include "host/client/connection_tuner.h"
#include "host/duration_option.h"
#include "host/quantity.h"
#include "host/text.h"

#include <cerrno>

namespace VESK::Host
{

namespace
{

std::string checkJobs(const std::string &text)
{
    bool ok = false;
    const int number = QString::fromStdString(text).toInt(&ok);
    const bool isFit = text == "auto" || (ok && number >= 1 && number <= ConnectionTuner::most);
    return isFit ? std::string()
                 : '"' + escaped(text).toStdString() + "\" is neither \"auto\" nor a number from 1 to 64";
}

void addChoiceOptions(CLI::App &command, TransferOptions &options)
{
    command.add_option("--existing", options.existing, "files that are there: update, skip or fail")
        ->check(CLI::IsMember({"update", "skip", "fail"}))
        ->capture_default_str()
        ->type_name("RULE");
    command.add_option("--exclude", options.excludes, "leave out what matches; the first rule counts")
        ->allow_extra_args(false)
        ->type_name("PATTERN");
    command.add_option("--include", options.includes, "take what matches, whatever later rules say")
        ->allow_extra_args(false)
        ->type_name("PATTERN");
    command.add_flag("--explain-filter", options.explainsFilter, "say which rule decides; move nothing");
    command.add_option("--files-from", options.filesFrom, "read the names of the files from FILE, or - ")
        ->type_name("FILE");
    command.add_flag("-0,--null", options.namesEndWithNul, "names in FILE end with NUL, not at line ends");
    command.add_flag("-n,--dry-run", options.dryRun, "say what would be moved; move nothing");
}

void addLimitOptions(CLI::App &command, TransferOptions &options)
{
    command.add_option("--limit-rate", options.limitRate, "bytes per second over all connections: 500k, 10M")
        ->check(byteCount())
        ->type_name("RATE");
    command.add_option("--max-bytes", options.maxBytes, "stop when so much was moved: 10G; exit code 11")
        ->check(byteCount());
    command.add_option("--max-time", options.maxSeconds, "stop after so long: 90, 10m, 2h; exit code 11")
        ->transform(durationInSeconds())
        ->check(CLI::Range(0.001, 1e9))
        ->type_name("TIME");
    command.add_flag("--discard", options.discards, "^C removes what has arrived of unfinished files");
    command.add_flag("--fail-if-nothing", options.failsIfNothing, "exit code 10 when nothing was to be done");
}

} // namespace

void addRunOptions(CLI::App &command, TransferOptions &options)
{
    command.add_option("-j,--jobs", options.jobs, "connections side by side, or auto: as many as help")
        ->check(CLI::Validator(checkJobs, "N"))
        ->capture_default_str()
        ->type_name("N|auto");
    addChoiceOptions(command, options);
    addLimitOptions(command, options);
}

void TransferOptions::apply(ClientSettings &settings) const
{
    settings.connections = jobs == "auto" ? 0 : std::stoi(jobs);
    settings.existing = existing == "skip" ? Existing::Skip : Existing::Update;
    if (existing == "fail")
        settings.existing = Existing::Fail;
    settings.rateLimit = parseBytes(QString::fromStdString(limitRate)).value_or(0);
    settings.maxBytes = parseBytes(QString::fromStdString(maxBytes)).value_or(0);
    settings.maxSeconds = maxSeconds;
    settings.discardsWhenInterrupted = discards;
    settings.failsIfNothing = failsIfNothing;
}

std::optional<Selection> TransferOptions::selection(const CLI::App &command, QString *error) const
{
    const std::optional<PathFilter> rules = filter(command, error);
    if (!rules)
        return std::nullopt;
    Selection selection;
    selection.filter = *rules;
    selection.isDryRun = dryRun || explainsFilter;
    selection.isExplained = explainsFilter;
    if (filesFrom.empty())
        return selection;
    const QString file = QString::fromStdString(filesFrom);
    std::optional<NameList> names =
        NameList::open(file, namesEndWithNul ? NameList::End::Nul : NameList::End::Line);
    if (!names) {
        *error = QStringLiteral("cannot open %1: %2").arg(escaped(file), qt_error_string(errno));
        return std::nullopt;
    }
    selection.names = std::make_shared<NameList>(std::move(*names));
    return selection;
}

// The two kinds are parsed into lists of their own; the command keeps in which order they came. Rules from
// elsewhere than the command line have no such order, and follow.
std::optional<PathFilter> TransferOptions::filter(const CLI::App &command, QString *error) const
{
    PathFilter filter;
    const auto add = [&](PathFilter::Action action, const std::string &pattern) {
        const QString text = QString::fromStdString(pattern);
        QString why;
        if (filter.add(action, text, &why))
            return true;
        *error = QStringLiteral("the pattern \"%1\" cannot be used: %2").arg(escaped(text), why);
        return false;
    };
    std::size_t excluded = 0;
    std::size_t included = 0;
    for (const CLI::Option *option : command.parse_order()) {
        if (option->check_lname("exclude") && excluded < excludes.size()
            && !add(PathFilter::Action::Exclude, excludes[excluded++]))
            return std::nullopt;
        if (option->check_lname("include") && included < includes.size()
            && !add(PathFilter::Action::Include, includes[included++]))
            return std::nullopt;
    }
    while (included < includes.size()) {
        if (!add(PathFilter::Action::Include, includes[included++]))
            return std::nullopt;
    }
    while (excluded < excludes.size()) {
        if (!add(PathFilter::Action::Exclude, excludes[excluded++]))
            return std::nullopt;
    }
    return filter;
}

} // namespace VESK::Host
