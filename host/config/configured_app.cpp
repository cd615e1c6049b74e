#include "host/config/configured_app.h"

#include "host/config/address_arguments.h"
#include "host/config/config_check.h"
#include "host/config/config_location.h"
#include "host/config/effective_setting.h"
#include "host/config/setting_value.h"
#include "host/event_writer.h"
#include "host/text.h"

#include <algorithm>
#include <set>

namespace VESK::Host
{

namespace
{

[[noreturn]] void fail(const QString &what, const QStringList &hints = {})
{
    throw ConfigError({ExitCode::Usage, what, hints});
}

bool isExcluded(const CLI::Option &option)
{
    const std::set<CLI::Option *> others = option.get_excludes();
    return std::any_of(others.begin(), others.end(),
                       [](const CLI::Option *other) { return other->count() > 0; });
}

// From the one that beats all others to the default.
std::vector<EffectiveSetting> byPrecedence(const std::vector<Setting> &settings, const ConfigFile &file,
                                           const std::string &remote)
{
    std::vector<EffectiveSetting> found;
    found.reserve(settings.size());
    for (const Setting &setting : settings)
        found.push_back(lookUp(setting, file, remote));
    std::stable_sort(found.begin(), found.end(),
                     [](const EffectiveSetting &left, const EffectiveSetting &right) {
                         return left.origin < right.origin;
                     });
    return found;
}

void apply(const std::vector<Setting> &settings, const ConfigFile &file, const std::string &remote)
{
    for (const EffectiveSetting &effective : byPrecedence(settings, file, remote)) {
        CLI::Option &option = *effective.setting.option;
        if (isExcluded(option))
            continue; // what it contradicts has been said in a place that counts for more
        QString problem = effective.problem;
        if (problem.isEmpty())
            problem = assign(option, effective.values);
        if (!problem.isEmpty())
            fail(QStringLiteral("%1: %2").arg(originText(effective, file), problem));
    }
}

void prepareOptions(CLI::App &command)
{
    for (CLI::Option *option : command.get_options()) {
        option->envname(""); // it would count as the command line
        // Each takes one value a time, and not the arguments that follow it, too.
        if (option->nonpositional())
            option->allow_extra_args(false);
    }
    for (CLI::App *verb : command.get_subcommands(nullptr))
        prepareOptions(*verb);
}

// The parser takes "[a,b]" for a list of two arguments. What looks so gets a last character that no
// argument can have, until the parser is through.
constexpr char guard = '\0';

std::string guarded(std::string argument)
{
    if (argument.size() > 1 && argument.front() == '[' && argument.back() == ']')
        argument += guard;
    return argument;
}

void removeGuards(const CLI::App &command)
{
    for (const CLI::Option *option : command.get_options()) {
        std::vector<std::string> values = option->results();
        bool isGuarded = false;
        for (std::string &value : values) {
            if (value.empty() || value.back() != guard)
                continue;
            value.pop_back();
            isGuarded = true;
        }
        // Each value was taken already, but for its end. The tree is this program's own.
        if (isGuarded)
            (void)assign(*const_cast<CLI::Option *>(option), values);
    }
}

} // namespace

Failure configFailure(const ConfigFile &file, const std::vector<ConfigProblem> &problems)
{
    constexpr std::size_t mostShown = 10;
    QStringList texts;
    for (std::size_t i = 0; i < std::min(problems.size(), mostShown); ++i)
        texts.append(
            QStringLiteral("%1: %2").arg(configPlace(file.path, problems[i].line), problems[i].what));
    Failure failure{ExitCode::Usage, texts.takeFirst(), texts};
    if (problems.size() > mostShown)
        failure.hints.append(QStringLiteral("vesk config check lists all %1 faults.").arg(problems.size()));
    return failure;
}

ConfiguredApp::ConfiguredApp(TreeBuilder build)
    : CLI::App("", "vesk")
    , m_build(std::move(build))
{
    m_build(*this, m_global, m_exitCode);
    prepareOptions(*this);
    deferRequirements();
}

void ConfiguredApp::parseArguments(int argc, const char *const *argv)
{
    std::vector<std::string> reversed; // as the parser wants them
    for (int i = argc - 1; i > 0; --i)
        reversed.push_back(guarded(argv[i]));
    parse(std::move(reversed));
}

void ConfiguredApp::deferRequirements()
{
    for (const Setting &setting : allSettings(*this)) {
        if (setting.key.empty() || !setting.option->get_required())
            continue;
        setting.option->required(false);
        m_deferred.push_back(setting.option);
    }
}

void ConfiguredApp::checkRequirements() const
{
    const CLI::App *command = givenCommand(*this);
    for (const CLI::Option *option : command->get_options()) {
        const bool isDeferred = std::find(m_deferred.begin(), m_deferred.end(), option) != m_deferred.end();
        if (isDeferred && option->count() == 0)
            throw CLI::RequiredError(option->get_name(true));
    }
}

ConfigFile ConfiguredApp::checkedConfiguration()
{
    QString error;
    std::optional<ConfigFile> file = readConfiguration(m_global.config, &error);
    if (!file)
        fail(error, {QStringLiteral("--config names another file; /dev/null is an empty one.")});
    ScratchTree scratch(m_build);
    const std::vector<ConfigProblem> problems = checkConfig(*file, scratch.app());
    if (!problems.empty())
        throw ConfigError(configFailure(*file, problems));
    return *file;
}

void ConfiguredApp::pre_callback()
{
    const CLI::App *verb = givenVerb(*this);
    if (!verb)
        return;
    removeGuards(*givenCommand(*this));
    const std::string section = sectionOf(*verb);
    const ConfigFile file = section.empty() ? ConfigFile() : checkedConfiguration();
    std::vector<Setting> settings = settingsOf(*givenCommand(*this), section);
    std::string remote;
    if (section == "client") {
        AddressArguments addresses(*verb, file);
        const QString problem = addresses.expand();
        if (!problem.isEmpty())
            fail(problem);
        remote = addresses.remote();
        addresses.dropWhatIsStated(&settings);
    }
    apply(settingsOf(*this, ""), file, remote);
    apply(settings, file, remote);
    const CLI::Option *json = givenCommand(*this)->get_option_no_throw("--json");
    if (json && json->count() > 0 && json->as<bool>())
        wantEvents();
    checkRequirements();
}

} // namespace VESK::Host
