#include "host/demo/demo_command.h"

#include "host/demo/demo.h"
#include "host/module_locator.h"
#include "host/signals.h"
#include "host/text.h"
#include "transport/udt_library.h"

#include <csignal>
#include <memory>

namespace VESK::Host
{

namespace
{

constexpr int defaultMebibytes = 256;
constexpr int leastMebibytes = 32; // less is through before it can be killed halfway

int demonstrate(int mebibytes, const GlobalOptions &global)
{
    QString error;
    const QString modulePath = QString::fromStdString(global.module);
    const std::unique_ptr<Module> module = loadModule(modulePath, &error);
    if (!module) {
        writeStderr(failureText({ExitCode::Usage, error, {}}));
        return number(ExitCode::Usage);
    }
    const UdtLibrary library;
    Interruption interruption;
    const SignalWatcher watcher([&](int signal) { interruption.raise(signal); });
    Demo demo(*module, modulePath, static_cast<qint64>(mebibytes) << 20, interruption);
    const bool held = demo.run();
    if (interruption.signal() != 0)
        return number(interruption.signal() == SIGTERM ? ExitCode::Terminated : ExitCode::Interrupted);
    writeStdout(held ? QStringLiteral("All of it held.\n") : QStringLiteral("It did not hold.\n"));
    return number(held ? ExitCode::Success : ExitCode::Partial);
}

} // namespace

void addDemoCommand(CLI::App &app, const GlobalOptions &global, int &exitCode)
{
    const auto mebibytes = std::make_shared<int>(defaultMebibytes);
    CLI::App *command =
        app.add_subcommand("demo",
                           "Examples:\n"
                           "  vesk demo\n"
                           "  vesk demo --size 1024\n\n"
                           "Proves on this machine that it works: a server, an upload that is killed "
                           "halfway, its resumption, a comparison, a second pass, and the same for a "
                           "download. Leaves nothing behind.");
    command->add_option("--size", *mebibytes, "size of the file, in MiB")
        ->check(CLI::Range(leastMebibytes, 1 << 20))
        ->capture_default_str();
    command->callback([mebibytes, &global, &exitCode] { exitCode = demonstrate(*mebibytes, global); });
}

} // namespace VESK::Host
