#include "host/version_command.h"

#include "host/client/client_options.h"
#include "host/errors.h"
#include "host/event_writer.h"
#include "host/module_locator.h"
#include "host/text.h"
#include "host/version.h"

#include <QtCore/QJsonArray>

#include <memory>

namespace VESK::Host
{

namespace
{

struct Versions {
    QStringList modules; // keys
    QString modulePath;
    QString moduleError; // why there is none
    QStringList modes; // of verification
    QList<QPair<QString, QString>> libraries;
};

Versions collect(const GlobalOptions &global)
{
    Versions versions;
    const std::unique_ptr<Module> module =
        loadModule(QString::fromStdString(global.module), &versions.moduleError);
    if (module) {
        versions.modules.append(module->createHandler()->getKey());
        versions.modulePath = module->path();
    }
    for (const std::string &mode : verificationModes())
        versions.modes.append(QString::fromStdString(mode));
    versions.libraries = libraryVersions();
    versions.libraries.prepend({QStringLiteral("Qt"), QString::fromLatin1(qVersion())});
    return versions;
}

void print(const Versions &versions)
{
    QString text = QStringLiteral("vesk %1\n").arg(programVersion());
    text += versions.modulePath.isEmpty()
        ? QStringLiteral("module: %1\n").arg(escaped(versions.moduleError))
        : QStringLiteral("module: %1 (%2)\n")
              .arg(versions.modules.join(QStringLiteral(", ")), escaped(versions.modulePath));
    text += QStringLiteral("verification: %1\n").arg(versions.modes.join(QStringLiteral(", ")));
    QStringList libraries;
    for (const auto &[name, version] : versions.libraries)
        libraries.append(name + QLatin1Char(' ') + version);
    writeStdout(text + QStringLiteral("libraries: %1\n").arg(libraries.join(QStringLiteral(", "))));
}

void write(const Versions &versions)
{
    QJsonObject libraries;
    for (const auto &[name, version] : versions.libraries)
        libraries.insert(name, version);
    QJsonObject fields{{QStringLiteral("version"), programVersion()},
                       {QStringLiteral("modules"), QJsonArray::fromStringList(versions.modules)},
                       {QStringLiteral("verification"), QJsonArray::fromStringList(versions.modes)},
                       {QStringLiteral("libraries"), libraries}};
    if (versions.modulePath.isEmpty())
        fields.insert(QStringLiteral("moduleError"), versions.moduleError);
    else
        fields.insert(QStringLiteral("modulePath"), versions.modulePath);
    writeEventLine(QStringLiteral("version"), fields);
}

} // namespace

void addVersionCommand(CLI::App &app, const GlobalOptions &global, int &exitCode)
{
    const auto json = std::make_shared<bool>(false);
    CLI::App *command = app.add_subcommand("version",
                                           "Examples:\n"
                                           "  vesk version --json\n\n"
                                           "Prints versions: of the program, its module and its libraries, "
                                           "and the ways of verification they know.");
    command->add_flag("--json", *json, "write a line of JSON to stdout");
    command->callback([json, &global, &exitCode] {
        const Versions versions = collect(global);
        *json ? write(versions) : print(versions);
        // A program without its module moves nothing.
        exitCode = number(versions.modulePath.isEmpty() ? ExitCode::Usage : ExitCode::Success);
    });
}

} // namespace VESK::Host
