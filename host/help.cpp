#include "host/help.h"

#include "host/exit_code.h"
#include "host/help_page.h"
#include "host/text.h"
#include "host/usage_failure.h"

#include <vector>

namespace VESK::Host
{

namespace
{

struct HelpOptions {
    std::vector<std::string> verbs; // a verb, and perhaps a verb of it
    bool all = false;
};

std::string prefixOf(const CLI::App &command)
{
    const CLI::App *parent = command.get_parent();
    if (!parent)
        return {};
    const std::string above = prefixOf(*parent);
    return (above.empty() ? std::string() : above + ' ') + parent->get_name();
}

int printHelp(const CLI::App &root, const HelpOptions &options)
{
    const CLI::App *command = &root;
    for (const std::string &name : options.verbs) {
        const auto found = command->get_subcommands(
            [&](const CLI::App *candidate) { return candidate->get_name() == name; });
        if (found.empty()) {
            writeStderr(failureText(unknownVerb(*command, name)));
            return number(ExitCode::Usage);
        }
        command = found.front();
    }
    const HelpExtent extent = options.all ? HelpExtent::Full : HelpExtent::Screen;
    writeStdout(QString::fromStdString(helpPage(*command, prefixOf(*command), extent)));
    return number(ExitCode::Success);
}

} // namespace

std::string HelpFormatter::make_help(const CLI::App *command, std::string, CLI::AppFormatMode mode) const
{
    return helpPage(*command, prefixOf(*command),
                    mode == CLI::AppFormatMode::All ? HelpExtent::Full : HelpExtent::Screen);
}

void addHelpCommand(CLI::App &app, int &exitCode)
{
    const auto options = std::make_shared<HelpOptions>();
    CLI::App *const help = app.add_subcommand("help",
                                              "Examples:\n"
                                              "  vesk help put\n"
                                              "  vesk help put --all\n\n"
                                              "Explains a verb.");
    help->add_option("VERB", options->verbs, "the verb; without one, all are listed");
    help->add_flag("--all", options->all, "explain all options");
    help->callback([&app, &exitCode, options] { exitCode = printHelp(app, *options); });
}

} // namespace VESK::Host
