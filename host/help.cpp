#include "host/help.h"

#include "host/exit_code.h"
#include "host/text.h"

#include <sstream>
#include <vector>

namespace VESK::Host
{

namespace
{

/// What the text after the examples says first.
std::string summaryOf(const std::string &description)
{
    const std::size_t blankLine = description.rfind("\n\n");
    const std::string text = blankLine == std::string::npos ? description : description.substr(blankLine + 2);
    return text.substr(0, text.find_first_of(".,:"));
}

void printHelp(const CLI::App &app, const std::string &verb, int &exitCode)
{
    if (verb.empty()) {
        // app.help() would explain the verb that was given, which is "help".
        const std::string text =
            app.get_formatter()->make_help(&app, app.get_name(), CLI::AppFormatMode::Normal);
        writeStdout(QString::fromStdString(text));
        return;
    }
    const auto isWanted = [&](const CLI::App *candidate) { return candidate->get_name() == verb; };
    const std::vector<const CLI::App *> found = app.get_subcommands(isWanted);
    if (!found.empty()) {
        writeStdout(QString::fromStdString(found.front()->help(app.get_name())));
        return;
    }
    writeStderr(QStringLiteral("error: there is no verb \"%1\".\n  - vesk help lists all.\n")
                    .arg(escaped(QString::fromStdString(verb))));
    exitCode = number(ExitCode::Usage);
}

} // namespace

std::string HelpFormatter::make_subcommand(const CLI::App *verb) const
{
    std::stringstream out;
    CLI::detail::format_help(out, verb->get_display_name(true), summaryOf(verb->get_description()),
                             column_width_);
    return out.str();
}

void addHelpCommand(CLI::App &app, int &exitCode)
{
    const auto verb = std::make_shared<std::string>();
    CLI::App *const help = app.add_subcommand("help", "Explains a verb.");
    help->add_option("VERB", *verb, "the verb; without one, all are listed");
    help->callback([&app, &exitCode, verb] { printHelp(app, *verb, exitCode); });
}

} // namespace VESK::Host
