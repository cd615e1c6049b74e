#include "host/config/config_check.h"

#include "host/config/option_tree.h"
#include "host/config/remote_profile.h"
#include "host/config/setting_value.h"
#include "host/suggestion.h"
#include "host/text.h"

#include <algorithm>
#include <set>

namespace VESK::Host
{

namespace
{

const std::string clientSection = "client";

QString suggestionText(const std::string &word, const std::vector<std::string> &known)
{
    const std::string meant = closest(word, known);
    return meant.empty() ? QString() : QStringLiteral(" (did you mean %1?)").arg(escaped(meant));
}

class Checker
{
public:
    Checker(const ConfigFile &file, CLI::App &scratch)
        : m_file(file)
        , m_settings(allSettings(scratch))
        , m_problems(file.problems)
    {
    }

    std::vector<ConfigProblem> check()
    {
        for (const auto &[name, section] : m_file.sections)
            checkSection(name, section);
        for (const auto &[name, section] : m_file.remotes)
            checkRemote(name, section);
        std::stable_sort(
            m_problems.begin(), m_problems.end(),
            [](const ConfigProblem &left, const ConfigProblem &right) { return left.line < right.line; });
        return m_problems;
    }

private:
    void complain(int line, const QString &what) { m_problems.push_back({line, what}); }

    std::vector<std::string> keysOf(const std::string &section) const
    {
        std::set<std::string> keys;
        for (const Setting &setting : m_settings) {
            if (setting.section == section && !setting.key.empty())
                keys.insert(setting.key);
        }
        return {keys.begin(), keys.end()};
    }

    void checkSection(const std::string &name, const ConfigSection &section)
    {
        std::vector<std::string> known = {"remote"};
        for (const Setting &setting : m_settings) {
            if (!setting.key.empty() && !setting.section.empty())
                known.push_back(setting.section);
        }
        if (!name.empty() && std::find(known.begin(), known.end(), name) == known.end()) {
            complain(
                section.line,
                QStringLiteral("there is no section [%1]%2").arg(escaped(name), suggestionText(name, known)));
            return;
        }
        const QString where = name.empty() ? QStringLiteral("the top of the file, before all sections,")
                                           : QStringLiteral("[%1]").arg(escaped(name));
        for (const auto &[key, value] : section.values)
            checkValue(name, where, keysOf(name), key, value);
    }

    void checkRemote(const std::string &name, const ConfigSection &section)
    {
        const QString where = QStringLiteral("[remote.%1]").arg(escaped(name));
        if (!isProfileName(name))
            complain(section.line,
                     QStringLiteral("\"%1\" cannot stand before the colon of an address").arg(escaped(name)));
        if (profileOf(name, section).host.empty())
            complain(section.line, QStringLiteral("%1 needs a host").arg(where));
        std::vector<std::string> known = keysOf(clientSection);
        known.insert(known.end(), {"host", "share", "path"});
        for (const auto &[key, value] : section.values) {
            if (isPlaceKey(key))
                checkPlace(key, value);
            else
                checkValue(clientSection, where, known, key, value);
        }
    }

    void checkPlace(const std::string &key, const ConfigValue &value)
    {
        if (value.kind != ConfigValue::Kind::String)
            complain(value.line, QStringLiteral("%1: a text in quotes is wanted").arg(escaped(key)));
        else if (key == "host" && value.text.find_first_of("@/[]") != std::string::npos)
            complain(
                value.line,
                QStringLiteral("host: a name or an address is wanted, not \"%1\"").arg(escaped(value.text)));
        else if (key == "share" && value.text.find('/') != std::string::npos)
            complain(value.line,
                     QStringLiteral("share: \"%1\" holds a \"/\"; what is below the share is its path")
                         .arg(escaped(value.text)));
    }

    void checkValue(const std::string &section, const QString &where, const std::vector<std::string> &known,
                    const std::string &key, const ConfigValue &value)
    {
        if (std::find(known.begin(), known.end(), key) == known.end()) {
            complain(value.line, unknownKey(where, known, key));
            return;
        }
        for (const Setting &setting : m_settings) {
            if (setting.section != section || setting.key != key)
                continue;
            SettingValues taken = valuesFromConfig(*setting.option, value);
            if (taken.problem.isEmpty())
                taken.problem = assign(*setting.option, taken.values);
            if (!taken.problem.isEmpty()) {
                complain(value.line, QStringLiteral("%1: %2").arg(escaped(key), taken.problem));
                return; // other verbs have the same to say
            }
        }
    }

    static QString unknownKey(const QString &where, const std::vector<std::string> &known,
                              const std::string &key)
    {
        static const std::set<std::string> secrets = {"token", "password", "secret", "passphrase", "key"};
        if (secrets.count(key) != 0)
            return QStringLiteral("%1: secrets do not belong here; token_file names a file that only its "
                                  "user can read")
                .arg(escaped(key));
        return QStringLiteral("%1 knows no key \"%2\"%3")
            .arg(where, escaped(key), suggestionText(key, known));
    }

    const ConfigFile &m_file;
    const std::vector<Setting> m_settings;
    std::vector<ConfigProblem> m_problems;
};

} // namespace

std::vector<ConfigProblem> checkConfig(const ConfigFile &file, CLI::App &scratch)
{
    return Checker(file, scratch).check();
}

} // namespace VESK::Host
