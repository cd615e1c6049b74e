#include "host/config/option_tree.h"
#include "host/config/remote_profile.h"
#include "host/config/setting_value.h"
#include "host/duration_option.h"
#include "host/suggestion.h"

#include <gmock/gmock.h>

using namespace VESK::Host;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

ConfigValue textValue(const std::string &text)
{
    ConfigValue value;
    value.kind = ConfigValue::Kind::String;
    value.text = text;
    return value;
}

ConfigValue listOf(const std::vector<ConfigValue> &items)
{
    ConfigValue value;
    value.kind = ConfigValue::Kind::List;
    value.items = items;
    return value;
}

class SettingsTest : public testing::Test
{
protected:
    CLI::App m_root{"", "vesk"};
    CLI::App *m_put = m_root.add_subcommand("put");
    CLI::App *m_serve = m_root.add_subcommand("serve");
    std::vector<std::string> m_texts;
    std::string m_text;
    double m_seconds = 0;
    bool m_flag = false;
};

TEST_F(SettingsTest, NamesKeyAndVariableAfterTheLongName)
{
    m_put->add_option("-t,--stall-timeout", m_seconds);
    const std::vector<Setting> settings = settingsOf(*m_put, sectionOf(*m_put));
    ASSERT_EQ(settings.size(), 1);
    EXPECT_EQ(settings[0].section, "client");
    EXPECT_EQ(settings[0].key, "stall_timeout");
    EXPECT_EQ(settings[0].variable, "VESK_STALL_TIMEOUT");
}

TEST_F(SettingsTest, TakesArgumentsOfTheServerOnly)
{
    m_put->add_option("DIR", m_text);
    m_serve->add_option("DIR", m_text);
    EXPECT_THAT(settingsOf(*m_put, "client"), IsEmpty());
    ASSERT_EQ(settingsOf(*m_serve, "serve").size(), 1);
    EXPECT_EQ(settingsOf(*m_serve, "serve")[0].key, "dir");
    EXPECT_EQ(settingsOf(*m_serve, "serve")[0].variable, "VESK_SERVE_DIR");
}

TEST_F(SettingsTest, TakesAListOnlyForWhatCanBeRepeated)
{
    CLI::Option *many = m_put->add_option("--exclude", m_texts);
    CLI::Option *one = m_put->add_option("--user", m_text);
    const ConfigValue list = listOf({textValue("a,b"), textValue("[c]")});
    EXPECT_THAT(valuesFromConfig(*many, list).values, ElementsAre("a,b", "[c]"));
    EXPECT_THAT(valuesFromConfig(*many, textValue("a,b")).values, ElementsAre("a,b"));
    EXPECT_FALSE(valuesFromConfig(*one, list).problem.isEmpty());
    EXPECT_FALSE(valuesFromConfig(*many, listOf({list})).problem.isEmpty());
}

TEST_F(SettingsTest, TakesANumberWhereTheCheckSaysThatItIsOne)
{
    CLI::Option *jobs = m_put->add_option("--jobs", m_text)
                            ->check(CLI::Validator([](std::string &) { return std::string(); }, "N"));
    ConfigValue number;
    number.kind = ConfigValue::Kind::Integer;
    number.text = "4";
    EXPECT_THAT(valuesFromConfig(*jobs, number).values, ElementsAre("4"));
    EXPECT_THAT(valuesFromConfig(*jobs, textValue("auto")).values, ElementsAre("auto"));
    EXPECT_EQ(placeholder(*jobs), "N");
}

TEST_F(SettingsTest, TakesAListForOneValueAtATime)
{
    CLI::Option *share = m_serve->add_option("--share", m_texts)
                             ->expected(1)
                             ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    const SettingValues taken = valuesFromConfig(*share, listOf({textValue("a=/a"), textValue("b=/b")}));
    EXPECT_EQ(assign(*share, taken.values), QString());
    EXPECT_THAT(m_texts, ElementsAre("a=/a", "b=/b"));
}

TEST_F(SettingsTest, SplitsVariablesOfWhatCanBeRepeatedAtCommas)
{
    CLI::Option *many = m_put->add_option("--exclude", m_texts);
    CLI::Option *one = m_put->add_option("--user", m_text);
    EXPECT_THAT(valuesFromVariable(*many, "*.o,,*.tmp").values, ElementsAre("*.o", "*.tmp"));
    EXPECT_THAT(valuesFromVariable(*one, "a,b").values, ElementsAre("a,b"));
}

TEST_F(SettingsTest, AssignsWhatIsInBracketsAsItIs)
{
    CLI::Option *many = m_put->add_option("--exclude", m_texts);
    EXPECT_EQ(assign(*many, {"[ab]", "c"}), QString());
    EXPECT_THAT(m_texts, ElementsAre("[ab]", "c"));
}

TEST_F(SettingsTest, UnderstandsYesAndNoOfAFlag)
{
    CLI::Option *flag = m_put->add_flag("--json", m_flag);
    for (const char *word : {"1", "true", "yes", "on"}) {
        m_flag = false;
        EXPECT_EQ(assign(*flag, valuesFromVariable(*flag, word).values), QString()) << word;
        EXPECT_TRUE(m_flag) << word;
    }
    for (const char *word : {"0", "false", "no", "off"}) {
        m_flag = true;
        EXPECT_EQ(assign(*flag, valuesFromVariable(*flag, word).values), QString()) << word;
        EXPECT_FALSE(m_flag) << word;
    }
    EXPECT_FALSE(valuesFromVariable(*flag, "maybe").problem.isEmpty());
}

TEST_F(SettingsTest, TakesTimesWithAndWithoutUnits)
{
    CLI::Option *option = m_put->add_option("--wait", m_seconds)
                              ->transform(durationInSeconds())
                              ->check(CLI::Range(0.1, 86400.0))
                              ->type_name("TIME");
    const std::map<std::string, double> known = {
        {"30", 30}, {"30s", 30}, {"500ms", 0.5}, {"1.5 m", 90}, {"2h", 7200}};
    for (const auto &[text, seconds] : known) {
        EXPECT_EQ(assign(*option, {text}), QString()) << text;
        EXPECT_DOUBLE_EQ(m_seconds, seconds) << text;
    }
    for (const char *text : {"", "x", "5x", "5d", "0s", "-1", "1e9"})
        EXPECT_FALSE(assign(*option, {text}).isEmpty()) << text;
    ConfigValue number;
    number.kind = ConfigValue::Kind::Integer;
    number.text = "30";
    EXPECT_THAT(valuesFromConfig(*option, number).values, ElementsAre("30"));
    EXPECT_THAT(valuesFromConfig(*option, textValue("30s")).values, ElementsAre("30s"));
    EXPECT_FALSE(valuesFromConfig(*option, textValue("30")).problem.isEmpty());
}

TEST_F(SettingsTest, TellsTheWordsThatAnOptionTakes)
{
    CLI::Option *option = m_put->add_option("--verify", m_text)->check(CLI::IsMember({"a", "b"}));
    EXPECT_THAT(choicesOf(*option), ElementsAre("a", "b"));
    EXPECT_THAT(choicesOf(*m_put->add_option("--user", m_text)), IsEmpty());
}

class RemoteProfileTest : public testing::Test
{
protected:
    void add(const std::string &name, const std::string &host, const std::string &share,
             const std::string &path)
    {
        m_file.remotes[name].values = {
            {"host", textValue(host)}, {"share", textValue(share)}, {"path", textValue(path)}};
    }

    // Empty where the text names no profile.
    std::string expanded(const std::string &text) const
    {
        const auto address = parseProfileAddress(text, m_file);
        if (!address)
            return {};
        return expandedAddress(*address, profileOf(address->profile, m_file.remotes.at(address->profile)));
    }

    ConfigFile m_file;
};

TEST_F(RemoteProfileTest, StandsForItsPlace)
{
    add("nas", "nas.example.org", "in", "a/b");
    EXPECT_EQ(expanded("nas:"), "nas.example.org:in/a/b");
    EXPECT_EQ(expanded("nas"), "nas.example.org:in/a/b");
    EXPECT_EQ(expanded("nas:c d/%41"), "nas.example.org:in/a/b/c d/%41");
    EXPECT_EQ(expanded("ann@nas:c"), "ann@nas.example.org:in/a/b/c");
}

TEST_F(RemoteProfileTest, LeavesTheShareToTheAddressWhereItHasNone)
{
    add("six", "2001:db8::7", "", "");
    EXPECT_EQ(expanded("six:in/x"), "[2001:db8::7]:in/x");
    EXPECT_EQ(expanded("six:"), "[2001:db8::7]");
}

TEST_F(RemoteProfileTest, IsNamedByThePlainFormOnly)
{
    add("nas", "h", "in", "");
    add("vesk", "h", "in", "");
    EXPECT_EQ(expanded("vesk://nas/in"), "");
    EXPECT_EQ(expanded("[nas]:in"), "");
    EXPECT_EQ(expanded("./nas:in"), "");
    EXPECT_EQ(expanded("nas.example.org:in"), "");
}

TEST(Suggestion, ComesFromTheNearestWord)
{
    const std::vector<std::string> verbs = {"put", "get", "ls", "mkdir", "completion", "config"};
    EXPECT_EQ(closest("putt", verbs), "put");
    EXPECT_EQ(closest("gte", verbs), "get");
    EXPECT_EQ(closest("comp", verbs), "completion");
    EXPECT_EQ(closest("mkdri", verbs), "mkdir");
    EXPECT_EQ(closest("upload", verbs), "");
    EXPECT_EQ(closest("co", verbs), "");
    EXPECT_EQ(closest("", verbs), "");
}

} // namespace
