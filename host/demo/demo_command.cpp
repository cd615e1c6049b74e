#include "host/demo/demo_command.h"

#include "host/demo/demo.h"
#include "host/event_writer.h"
#include "host/module_locator.h"
#include "host/signals.h"
#include "host/text.h"
#include "transport/udt_library.h"

#include <QtCore/QElapsedTimer>

#include <csignal>
#include <memory>

namespace VESK::Host
{

namespace
{

constexpr int defaultMebibytes = 256;
constexpr int leastMebibytes = 32; // less is through before it can be killed halfway

struct DemoOptions {
    int mebibytes = defaultMebibytes;
    bool json = false;
};

void tellStep(const Demo::Step &step, bool json)
{
    if (!json)
        return writeStdout(QStringLiteral("%1. %2\n").arg(QString::number(step.number), step.text));
    QJsonObject fields = step.figures;
    fields.insert(QStringLiteral("number"), step.number);
    fields.insert(QStringLiteral("name"), step.name);
    fields.insert(QStringLiteral("text"), step.text);
    writeEventLine(QStringLiteral("step"), fields);
}

ExitCode endOf(bool held, const Interruption &interruption)
{
    if (interruption.signal() != 0)
        return interruption.signal() == SIGTERM ? ExitCode::Terminated : ExitCode::Interrupted;
    return held ? ExitCode::Success : ExitCode::Partial;
}

void tellEnd(const Demo &demo, ExitCode code, double seconds, bool json)
{
    const QString fault = demo.fault().isEmpty() ? QStringLiteral("interrupted") : demo.fault();
    const Failure failure{code, QStringLiteral("demo: %1").arg(fault)};
    if (code != ExitCode::Success)
        writeStderr(failureText(failure) + demo.serverLog());
    if (!json) {
        if (code == ExitCode::Success || code == ExitCode::Partial)
            writeStdout(code == ExitCode::Success ? QStringLiteral("All of it held.\n")
                                                  : QStringLiteral("It did not hold.\n"));
        return;
    }
    if (code != ExitCode::Success)
        writeEventLine(QStringLiteral("error"), errorFields(failure, QString()));
    writeEventLine(QStringLiteral("summary"),
                   {{QStringLiteral("exitCode"), number(code)},
                    {QStringLiteral("seconds"), seconds},
                    {QStringLiteral("failed"), code == ExitCode::Success ? 0 : 1},
                    {QStringLiteral("steps"), demo.stepsHeld()}});
}

int demonstrate(const DemoOptions &options, const GlobalOptions &global)
{
    QString error;
    const QString modulePath = QString::fromStdString(global.module);
    const std::unique_ptr<Module> module = loadModule(modulePath, &error);
    if (!module)
        return tellFailure({ExitCode::Usage, error});
    if (options.json)
        writeStartEvent(QStringLiteral("demo"));
    QElapsedTimer timer;
    timer.start();
    const UdtLibrary library;
    Interruption interruption;
    const SignalWatcher watcher([&](int signal) { interruption.raise(signal); });
    Demo demo(*module, modulePath, static_cast<qint64>(options.mebibytes) << 20, interruption,
              [&](const Demo::Step &step) { tellStep(step, options.json); });
    const bool held = demo.run();
    const ExitCode code = endOf(held, interruption);
    tellEnd(demo, code, static_cast<double>(timer.elapsed()) / 1000, options.json);
    return number(code);
}

} // namespace

void addDemoCommand(CLI::App &app, const GlobalOptions &global, int &exitCode)
{
    const auto options = std::make_shared<DemoOptions>();
    CLI::App *command =
        app.add_subcommand("demo",
                           "Examples:\n"
                           "  vesk demo\n"
                           "  vesk demo --size 1024\n\n"
                           "Proves on this machine that it works: a server, an upload that is killed "
                           "halfway, its resumption, a comparison, a second pass, and the same for a "
                           "download. Leaves nothing behind.");
    command->add_option("--size", options->mebibytes, "size of the file, in MiB")
        ->check(CLI::Range(leastMebibytes, 1 << 20))
        ->capture_default_str();
    command->add_flag("--json", options->json, "write lines of JSON to stdout");
    command->callback([options, &global, &exitCode] { exitCode = demonstrate(*options, global); });
}

} // namespace VESK::Host
