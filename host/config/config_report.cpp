#include "host/config/config_report.h"

#include "host/config/effective_setting.h"
#include "host/config/remote_profile.h"
#include "host/config/setting_value.h"
#include "host/event_writer.h"
#include "host/suggestion.h"
#include "host/text.h"

#include <QtCore/QJsonArray>
#include <QtCore/QProcessEnvironment>

#include <algorithm>
#include <map>
#include <set>

namespace VESK::Host
{

namespace
{

QStringList shownValues(const EffectiveSetting &effective)
{
    QStringList values;
    for (const std::string &value : effective.values)
        values.append(QString::fromStdString(value));
    if (effective.origin != Origin::Default)
        return values;
    const CLI::Option &option = *effective.setting.option;
    const std::string standard = option.get_default_str();
    if (valueKind(option) == ValueKind::Flag)
        return {QStringLiteral("false")};
    return standard.empty() ? QStringList() : QStringList(QString::fromStdString(standard));
}

QString originName(Origin origin)
{
    switch (origin) {
    case Origin::CommandLine:
        return QStringLiteral("command line");
    case Origin::Environment:
        return QStringLiteral("environment");
    case Origin::Remote:
        return QStringLiteral("remote");
    case Origin::Section:
        return QStringLiteral("section");
    case Origin::Default:
        break;
    }
    return QStringLiteral("default");
}

// One of each key; the verbs of a section share theirs.
std::map<std::string, std::vector<EffectiveSetting>> bySection(const ConfigFile &file, CLI::App &tree,
                                                               const std::string &remote)
{
    std::map<std::string, std::vector<EffectiveSetting>> sections;
    std::set<std::pair<std::string, std::string>> seen;
    for (const Setting &setting : allSettings(tree)) {
        if (!setting.key.empty() && seen.insert({setting.section, setting.key}).second)
            sections[setting.section].push_back(lookUp(setting, file, remote));
    }
    return sections;
}

QString table(const ConfigFile &file, const std::vector<EffectiveSetting> &settings)
{
    constexpr int keyColumns = 18;
    constexpr int valueColumns = 24;
    QString text;
    for (const EffectiveSetting &effective : settings) {
        const QStringList values = shownValues(effective);
        const QString value =
            values.isEmpty() ? QStringLiteral("-") : escaped(values.join(QStringLiteral(", ")));
        text += QStringLiteral("  %1 %2 %3\n")
                    .arg(QString::fromStdString(effective.setting.key).leftJustified(keyColumns),
                         value.leftJustified(valueColumns), originText(effective, file));
    }
    return text;
}

void writeSettings(const ConfigFile &file, const std::string &section,
                   const std::vector<EffectiveSetting> &settings)
{
    for (const EffectiveSetting &effective : settings) {
        QJsonObject fields{
            {QStringLiteral("section"), QString::fromStdString(section)},
            {QStringLiteral("key"), QString::fromStdString(effective.setting.key)},
            {QStringLiteral("variable"), QString::fromStdString(effective.setting.variable)},
            {QStringLiteral("values"), QJsonArray::fromStringList(shownValues(effective))},
            {QStringLiteral("origin"), originName(effective.origin)},
        };
        if (effective.line != 0) {
            fields.insert(QStringLiteral("file"), file.path);
            fields.insert(QStringLiteral("line"), effective.line);
        }
        writeEventLine(QStringLiteral("setting"), fields);
    }
}

void reportRemotes(const ConfigFile &file, bool isJson)
{
    for (const auto &[name, section] : file.remotes) {
        const RemoteProfile profile = profileOf(name, section);
        ProfileAddress address;
        address.profile = name;
        const std::string place = expandedAddress(address, profile);
        if (isJson)
            writeEventLine(QStringLiteral("remote"),
                           {{QStringLiteral("name"), QString::fromStdString(name)},
                            {QStringLiteral("place"), QString::fromStdString(place)},
                            {QStringLiteral("file"), file.path},
                            {QStringLiteral("line"), section.line}});
        else
            writeStdout(QStringLiteral("[remote.%1] is %2, %3\n")
                            .arg(escaped(name), escaped(place), configPlace(file.path, section.line)));
    }
}

} // namespace

void reportFailure(const Failure &failure, bool isJson)
{
    if (!isJson) {
        writeStderr(failureText(failure));
        return;
    }
    writeEventLine(QStringLiteral("error"),
                   {{QStringLiteral("what"), failure.what},
                    {QStringLiteral("hints"), QJsonArray::fromStringList(failure.hints)},
                    {QStringLiteral("code"), number(failure.code)}});
}

bool reportSettings(const ConfigFile &file, const QString &path, CLI::App &tree, const std::string &remote,
                    bool isJson)
{
    bool isRight = true;
    if (!isJson)
        writeStdout(
            QStringLiteral("configuration: %1%2\n")
                .arg(escaped(path), file.path.isEmpty() ? QStringLiteral(" (not there)") : QString()));
    for (auto &[section, settings] : bySection(file, tree, remote)) {
        for (const EffectiveSetting &effective : settings) {
            if (effective.problem.isEmpty())
                continue;
            isRight = false;
            const QString what = QStringLiteral("%1: %2").arg(originText(effective, file), effective.problem);
            reportFailure({ExitCode::Usage, what, {}}, isJson);
        }
        if (isJson) {
            writeSettings(file, section, settings);
            continue;
        }
        const QString title = section.empty() ? QString() : QStringLiteral("\n[%1]\n").arg(escaped(section));
        writeStdout(title + table(file, settings));
    }
    if (!isJson && !file.remotes.empty())
        writeStdout(QStringLiteral("\n"));
    reportRemotes(file, isJson);
    return isRight;
}

std::vector<ConfigProblem> checkEnvironment(CLI::App &scratch)
{
    std::vector<std::string> known;
    std::map<std::string, QString> faults; // by variable
    for (const Setting &setting : allSettings(scratch)) {
        known.push_back(setting.variable);
        const EffectiveSetting effective = lookUp(setting, {}, {});
        if (effective.origin != Origin::Environment)
            continue;
        const QString problem =
            effective.problem.isEmpty() ? assign(*setting.option, effective.values) : effective.problem;
        if (!problem.isEmpty())
            faults[setting.variable] = problem;
    }
    const QStringList names = QProcessEnvironment::systemEnvironment().keys();
    for (const QString &name : names) {
        const std::string variable = name.toStdString();
        if (!name.startsWith(QLatin1String("VESK_"))
            || std::find(known.begin(), known.end(), variable) != known.end())
            continue;
        const std::string meant = closest(variable, known);
        faults[variable] = meant.empty()
            ? QStringLiteral("no option has this variable")
            : QStringLiteral("no option has this variable (did you mean %1?)").arg(escaped(meant));
    }
    std::vector<ConfigProblem> problems;
    problems.reserve(faults.size());
    for (const auto &[variable, what] : faults)
        problems.push_back({0, QStringLiteral("%1: %2").arg(escaped(variable), what)});
    return problems;
}

void reportCheck(const ConfigFile &file, const QString &path, const std::vector<ConfigProblem> &ofFile,
                 const std::vector<ConfigProblem> &ofEnvironment, bool isJson)
{
    QStringList lines;
    for (const ConfigProblem &problem : ofFile) {
        lines.append(QStringLiteral("%1: %2").arg(configPlace(file.path, problem.line), problem.what));
        if (isJson)
            writeEventLine(QStringLiteral("error"),
                           {{QStringLiteral("what"), problem.what},
                            {QStringLiteral("file"), file.path},
                            {QStringLiteral("line"), problem.line}});
    }
    for (const ConfigProblem &problem : ofEnvironment) {
        lines.append(problem.what);
        if (isJson)
            writeEventLine(QStringLiteral("error"), {{QStringLiteral("what"), problem.what}});
    }
    if (isJson) {
        const ExitCode code = lines.isEmpty() ? ExitCode::Success : ExitCode::Usage;
        writeEventLine(QStringLiteral("summary"),
                       {{QStringLiteral("exitCode"), number(code)},
                        {QStringLiteral("faults"), lines.size()},
                        {QStringLiteral("file"), path},
                        {QStringLiteral("exists"), !file.path.isEmpty()}});
        return;
    }
    for (const QString &line : lines)
        writeStdout(line + QLatin1Char('\n'));
    const QString presence = file.path.isEmpty() ? QStringLiteral(" (not there)") : QString();
    writeStdout(QStringLiteral("%1%2: %3\n")
                    .arg(escaped(path), presence,
                         lines.isEmpty() ? QStringLiteral("no fault")
                                         : countText(lines.size(), QStringLiteral("fault"))));
}

} // namespace VESK::Host
