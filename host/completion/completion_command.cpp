#include "host/completion/completion_command.h"

#include "host/completion/manual_parts.h"
#include "host/completion/shell_scripts.h"
#include "host/config/config_location.h"
#include "host/errors.h"
#include "host/text.h"

#include <memory>

namespace VESK::Host
{

namespace
{

struct CompletionOptions {
    std::string shell;
    std::string manual; // which generated part of a man page, for the build
    bool remotes = false; // asked for by the scripts
};

// As the first word of an address, a line each. A configuration that cannot be read has none: nobody wants a
// message in the middle of a command line.
std::string remotesOf(const GlobalOptions &global)
{
    QString error;
    const ConfigFile file = readConfiguration(global.config, &error).value_or(ConfigFile());
    std::string names;
    for (const auto &remote : file.remotes)
        names += remote.first + ":\n";
    return names;
}

int print(const CLI::App &root, const GlobalOptions &global, const CompletionOptions &options)
{
    std::string text;
    if (options.remotes)
        text = remotesOf(global);
    else if (options.manual == "options")
        text = manualOfOptions(root);
    else if (options.manual == "keys")
        text = manualOfKeys(root);
    else if (options.shell == "bash")
        text = bashScript(completedCommands(root));
    else if (options.shell == "zsh")
        text = zshScript(completedCommands(root));
    else if (options.shell == "fish")
        text = fishScript(completedCommands(root));
    else {
        writeStderr(failureText({ExitCode::Usage,
                                 QStringLiteral("completion needs the name of a shell: bash, zsh or fish"),
                                 {}}));
        return number(ExitCode::Usage);
    }
    writeStdout(QString::fromStdString(text));
    return number(ExitCode::Success);
}

} // namespace

void addCompletionCommand(CLI::App &app, const GlobalOptions &global, int &exitCode)
{
    const auto options = std::make_shared<CompletionOptions>();
    CLI::App *command = app.add_subcommand(
        "completion",
        "Examples:\n"
        "  source <(vesk completion bash)\n"
        "  vesk completion zsh > ~/.zfunc/_vesk\n"
        "  vesk completion fish > ~/.config/fish/completions/vesk.fish\n\n"
        "Prints what makes a shell complete this command line: verbs, options, values, files and the remotes "
        "of the configuration.");
    command->add_option("SHELL", options->shell, "bash, zsh or fish")
        ->check(CLI::IsMember({"bash", "zsh", "fish"}));
    command->add_option("--manual", options->manual, "a part of a man page")
        ->check(CLI::IsMember({"options", "keys"}))
        ->group(""); // for the build
    command->add_flag("--remotes", options->remotes, "the remotes of the configuration")
        ->group(""); // for the scripts
    command->callback([options, &app, &global, &exitCode] { exitCode = print(app, global, *options); });
}

} // namespace VESK::Host
