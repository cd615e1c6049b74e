#include "host/usage_failure.h"

#include "host/config/option_tree.h"
#include "host/suggestion.h"
#include "host/text.h"

#include <algorithm>
#include <vector>

namespace VESK::Host
{

namespace
{

std::vector<std::string> optionNames(const CLI::App &command)
{
    std::vector<std::string> names;
    for (const CLI::App *level = &command; level; level = level->get_parent()) {
        for (const CLI::Option *option : level->get_options()) {
            for (const std::string &name : option->get_lnames())
                names.push_back("--" + name);
        }
    }
    return names;
}

bool hasName(const CLI::App &command, const std::string &name)
{
    const std::vector<std::string> names = optionNames(command);
    return std::find(names.begin(), names.end(), name) != names.end();
}

// The verbs that do have the option.
QStringList verbsWith(const CLI::App &command, const std::string &name, const QString &path = QString())
{
    QStringList verbs;
    for (const CLI::App *verb : command.get_subcommands(nullptr)) {
        const QString verbPath =
            (path + QLatin1Char(' ') + QString::fromStdString(verb->get_name())).trimmed();
        if (hasName(*verb, name))
            verbs.append(verbPath);
        verbs += verbsWith(*verb, name, verbPath);
    }
    return verbs;
}

QString pathOf(const CLI::App &command)
{
    const CLI::App *parent = command.get_parent();
    const QString name = QString::fromStdString(command.get_name());
    return parent ? pathOf(*parent) + QLatin1Char(' ') + name : name;
}

QString helpHint(const CLI::App &command)
{
    return QStringLiteral("%1 --help shows examples.").arg(pathOf(command));
}

Failure unknownOption(const CLI::App &root, const CLI::App &command, const std::string &word)
{
    const std::string name = word.substr(0, word.find('='));
    Failure failure{
        ExitCode::Usage, QStringLiteral("%1 has no option %2").arg(pathOf(command), escaped(name)), {}};
    const QStringList verbs = verbsWith(root, name);
    const std::string meant = closest(name, optionNames(command));
    if (!verbs.isEmpty())
        failure.hints.append(QStringLiteral("It is one of %1.").arg(verbs.join(QStringLiteral(", "))));
    else if (!meant.empty())
        failure.hints.append(QStringLiteral("Did you mean %1?").arg(escaped(meant)));
    const QString verb = pathOf(command).section(QLatin1Char(' '), 1);
    failure.hints.append(
        QStringLiteral("vesk help %1 lists them.").arg((verb + QLatin1String(" --all")).trimmed()));
    return failure;
}

} // namespace

Failure unknownVerb(const CLI::App &command, const std::string &name)
{
    std::vector<std::string> names;
    for (const CLI::App *verb : command.get_subcommands(nullptr))
        names.push_back(verb->get_name());
    Failure failure{ExitCode::Usage, QStringLiteral("there is no verb \"%1\"").arg(escaped(name)), {}};
    const std::string meant = closest(name, names);
    const QString path = pathOf(command);
    if (!meant.empty())
        failure.hints.append(QStringLiteral("Did you mean %1 %2?").arg(path, escaped(meant)));
    const QString help = QStringLiteral("vesk help")
        + path.mid(path.indexOf(QLatin1Char(' ')) < 0 ? path.size() : path.indexOf(QLatin1Char(' ')));
    failure.hints.append(QStringLiteral("%1 lists all.").arg(help));
    return failure;
}

Failure usageFailure(const CLI::App &root, const CLI::ParseError &error)
{
    const CLI::App *given = givenCommand(root);
    const CLI::App &command = given ? *given : root;
    const std::vector<std::string> extra = root.remaining(true);
    const auto isOption = [](const std::string &word) { return word.size() > 1 && word.front() == '-'; };
    const auto option = std::find_if(extra.begin(), extra.end(), isOption);
    const bool wantsVerb = command.get_require_subcommand_min() > 0;
    if (wantsVerb && !extra.empty() && option != extra.begin())
        return unknownVerb(command, extra.front());
    if (option != extra.end())
        return unknownOption(root, command, *option);
    if (wantsVerb)
        return {ExitCode::Usage,
                QStringLiteral("the verb is missing"),
                {given ? helpHint(command) : QStringLiteral("vesk help lists all.")}};
    if (!extra.empty())
        return {ExitCode::Usage,
                QStringLiteral("%1 takes no argument \"%2\"").arg(pathOf(command), escaped(extra.front())),
                {helpHint(command)}};
    return {ExitCode::Usage, escaped(std::string(error.what())), {helpHint(command)}};
}

} // namespace VESK::Host
