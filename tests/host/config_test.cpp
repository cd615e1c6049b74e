#include "tests/host/exit_status.h"
#include "tests/host/program.h"
#include "tests/support/temp_dir.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QRegularExpression>

#include <gmock/gmock.h>

using namespace VESK::Test;
using testing::HasSubstr;

namespace
{

class ConfigTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_directory.mkdir("in"));
        ASSERT_TRUE(m_directory.mkdir("home"));
        ASSERT_TRUE(m_directory.write("f", "content"));
        m_file = m_directory.path("f");
    }

    void configure(const QString &text, const QString &name = "vesk.toml")
    {
        ASSERT_TRUE(m_directory.write(name, text.toUtf8()));
    }

    // Runs the program with the test's configuration and these variables.
    int run(const QStringList &arguments, const QStringList &variables = {})
    {
        QStringList wrapper{"env", "HOME=" + m_directory.path("home"),
                            "XDG_CONFIG_HOME=", "VESK_CONFIG=" + m_directory.path("vesk.toml")};
        Program program(arguments, wrapper + variables);
        const int code = program.waitForEnd();
        m_out = program.out();
        m_err = program.err();
        return code;
    }

    // The effective setting of a key of a section, as `config show --json` tells it.
    QJsonObject setting(const QString &section, const QString &key, const QStringList &variables = {},
                        const QStringList &more = {})
    {
        EXPECT_EQ(run(QStringList{"config", "show", "--json"} + more, variables), 0)
            << m_out.toStdString() << m_err.toStdString();
        for (const QString &line : m_out.split('\n', Qt::SkipEmptyParts)) {
            const QJsonObject event = QJsonDocument::fromJson(line.toUtf8()).object();
            if (event["event"] == "setting" && event["section"] == section && event["key"] == key)
                return event;
        }
        ADD_FAILURE() << "no setting " << key.toStdString();
        return {};
    }

    QString errorOf(const QString &configuration)
    {
        configure(configuration);
        EXPECT_EQ(run({"put", m_file, "127.0.0.1:in"}), ExitStatus::usage) << m_err.toStdString();
        return m_err.section('\n', 0, 0).replace(m_directory.path("vesk.toml"), "FILE");
    }

    TempDir m_directory;
    QString m_file;
    QString m_out;
    QString m_err;
};

TEST_F(ConfigTest, TakesEnvironmentBeforeRemoteBeforeSectionBeforeDefault)
{
    configure("[remote.nas]\nhost = \"h\"\nretries = 5\n[client]\nretries = 3\nmtu = 1300\n");
    EXPECT_EQ(setting("client", "retries", {"VESK_RETRIES=7"}, {"--remote", "nas"})["values"],
              QJsonArray{"7"});
    EXPECT_EQ(setting("client", "retries", {}, {"--remote", "nas"})["values"], QJsonArray{"5"});
    const QJsonObject ofSection = setting("client", "retries");
    EXPECT_EQ(ofSection["values"], QJsonArray{"3"});
    EXPECT_EQ(ofSection["origin"], "section");
    EXPECT_EQ(ofSection["line"], 5);
    EXPECT_EQ(setting("serve", "mtu")["values"], QJsonArray{"1400"});
    EXPECT_EQ(setting("serve", "mtu")["origin"], "default");
}

TEST_F(ConfigTest, LetsTheCommandLineBeatEverything)
{
    ServerProgram server(m_directory.path("in"), 0, {"--auth", "none"});
    const QString port = QString::number(server.port());
    configure("[client]\nport = 1\n");
    EXPECT_EQ(run({"put", m_file, "127.0.0.1:in"}), ExitStatus::unreachable);
    EXPECT_EQ(run({"put", m_file, "127.0.0.1:in"}, {"VESK_PORT=" + port}), 0) << m_err.toStdString();
    EXPECT_EQ(run({"put", m_file, "127.0.0.1:in", "--port", port}, {"VESK_PORT=2"}), 0)
        << m_err.toStdString();
}

TEST_F(ConfigTest, TakesAPortInAnAddressForTheCommandLine)
{
    ServerProgram server(m_directory.path("in"), 0, {"--auth", "none"});
    configure("[client]\nport = 1\n");
    EXPECT_EQ(run({"put", m_file, server.url("in")}), 0) << m_err.toStdString();
    EXPECT_EQ(run({"ls", server.url("in")}, {"VESK_PORT=2"}), 0) << m_err.toStdString();
}

TEST_F(ConfigTest, PutsAndListsBelowTheDirectoryOfARemote)
{
    ServerProgram server(m_directory.path("in"), 0, {"--auth", "none"});
    configure(QString("[remote.nas]\nhost = \"127.0.0.1\"\nport = %1\nshare = \"in\"\npath = \"a/b\"\n"
                      "[remote.bare]\nhost = \"127.0.0.1\"\nport = %1\n")
                  .arg(server.port()));
    EXPECT_EQ(run({"put", m_file, "nas:"}), 0) << m_err.toStdString();
    EXPECT_EQ(run({"put", m_file, "ann@nas:c"}), 0) << m_err.toStdString();
    EXPECT_EQ(run({"mkdir", "bare:in/d"}), 0) << m_err.toStdString();
    EXPECT_EQ(m_directory.read("in/a/b/f"), "content");
    EXPECT_EQ(m_directory.read("in/a/b/c/f"), "content");
    EXPECT_TRUE(m_directory.exists("in/d"));
    EXPECT_EQ(run({"ls", "nas:"}), 0) << m_err.toStdString();
    EXPECT_EQ(m_out, "c/\nc/f\nf\n");
    EXPECT_EQ(run({"get", "nas:f", m_directory.path("out")}), 0) << m_err.toStdString();
    EXPECT_EQ(m_directory.read("out/f"), "content");
}

TEST_F(ConfigTest, TakesASourceThatLooksLikeARemoteForAFile)
{
    ServerProgram server(m_directory.path("in"), 0, {"--auth", "none"});
    configure(QString("[remote.nas]\nhost = \"127.0.0.1\"\nport = %1\nshare = \"in\"\n").arg(server.port()));
    ASSERT_TRUE(m_directory.write("home/nas:f", "local"));
    Program program(
        {"put", "nas:f", "nas:"},
        {"env", "--chdir=" + m_directory.path("home"), "VESK_CONFIG=" + m_directory.path("vesk.toml")});
    EXPECT_EQ(program.waitForEnd(), 0) << program.err().toStdString();
    EXPECT_EQ(m_directory.read("in/nas:f"), "local");
}

TEST_F(ConfigTest, RefusesOptionsOfTwoRemotesInOneCommand)
{
    configure("[remote.a]\nhost = \"h\"\nport = 7\n[remote.b]\nhost = \"i\"\n");
    EXPECT_EQ(run({"mkdir", "a:s/d", "b:s/d"}), ExitStatus::usage);
    EXPECT_EQ(m_err, "error: the remotes a and b have options of their own; use a command for each place.\n");
    EXPECT_EQ(run({"mkdir", "a:s/d", "c:s/d"}), ExitStatus::usage);
    EXPECT_EQ(m_err, "error: the remote a has options of its own; use a command for each place.\n");
}

TEST_F(ConfigTest, NamesFileAndLineOfEachFault)
{
    EXPECT_EQ(errorOf("[client]\nretrys = 3\n"),
              "error: FILE:2: [client] knows no key \"retrys\" (did you mean retries?).");
    EXPECT_EQ(errorOf("[client]\n\nretries = \"10\"\n"),
              "error: FILE:3: retries: a number is wanted, not the text \"10\".");
    EXPECT_EQ(errorOf("[client]\nrecursive = 1\n"),
              "error: FILE:2: recursive: true or false is wanted, not 1.");
    EXPECT_EQ(errorOf("[client]\nuser = [\"a\"]\n"),
              "error: FILE:2: user: a text in quotes is wanted, not a list.");
    EXPECT_EQ(errorOf("[client]\nmtu = 70000\n"),
              "error: FILE:2: mtu: Value 70000 not in range 576 to 65000.");
    EXPECT_EQ(errorOf("[clients]\n"), "error: FILE:1: there is no section [clients] (did you mean client?).");
    EXPECT_EQ(errorOf("retries = 3\n"),
              "error: FILE:1: the top of the file, before all sections, knows no key \"retries\".");
    EXPECT_EQ(errorOf("[client]\ntoken = \"x\"\n"),
              "error: FILE:2: token: secrets do not belong here; token_file names a file that only its user "
              "can read.");
    EXPECT_EQ(errorOf("[remote.nas]\nshare = \"in\"\n"), "error: FILE:1: [remote.nas] needs a host.");
    EXPECT_EQ(errorOf("[remote]\nhost = \"nas\"\n"),
              "error: FILE:2: [remote] holds the key \"host\"; write [remote.NAME].");
    EXPECT_THAT(errorOf("[client]\nretries = \n").toStdString(), HasSubstr("error: FILE:2: "));
}

TEST_F(ConfigTest, NamesTheVariableThatIsWrong)
{
    configure("");
    EXPECT_EQ(run({"put", m_file, "127.0.0.1:in"}, {"VESK_MTU=1"}), ExitStatus::usage);
    EXPECT_EQ(m_err, "error: VESK_MTU: Value 1 not in range 576 to 65000.\n");
    EXPECT_EQ(run({"put", m_file, "127.0.0.1:in"}, {"VESK_RECURSIVE=perhaps"}), ExitStatus::usage);
    EXPECT_EQ(m_err, "error: VESK_RECURSIVE: true or false is wanted, not \"perhaps\".\n");
}

TEST_F(ConfigTest, TurnsAFlagOffAgain)
{
    configure("[client]\nrecursive = true\n");
    EXPECT_EQ(setting("client", "recursive")["values"], QJsonArray{"true"});
    ASSERT_TRUE(m_directory.mkdir("tree"));
    EXPECT_EQ(run({"put", m_directory.path("tree"), "127.0.0.1:in", "--port", "1"}), ExitStatus::unreachable);
    EXPECT_EQ(run({"put", m_directory.path("tree"), "127.0.0.1:in", "--port", "1"}, {"VESK_RECURSIVE=no"}), 7)
        << m_err.toStdString();
}

TEST_F(ConfigTest, LetsAnOptionBeatTheOneItExcludes)
{
    ServerProgram server(m_directory.path("in"), 0, {"--auth", "none"});
    configure("[client]\nipv6 = true\n");
    EXPECT_EQ(run({"ls", server.url("in")}), ExitStatus::unreachable);
    EXPECT_EQ(run({"ls", server.url("in"), "-4"}), 0) << m_err.toStdString();
    EXPECT_EQ(run({"ls", server.url("in"), "-4", "-6"}), ExitStatus::usage);
}

TEST_F(ConfigTest, ServesWhatItsSectionNames)
{
    configure(QString("[serve]\ndir = \"%1\"\nlisten = \"127.0.0.1:0\"\n").arg(m_directory.path("in")));
    Program server({"serve"}, {"env", "VESK_CONFIG=" + m_directory.path("vesk.toml")});
    EXPECT_TRUE(waitUntil([&] { return server.err().contains("serving in "); }))
        << server.err().toStdString();
    configure("");
    EXPECT_EQ(run({"serve"}), ExitStatus::usage);
}

TEST_F(ConfigTest, WantsANamedFileAndDoesWithoutTheUsualOne)
{
    EXPECT_EQ(run({"ls", "127.0.0.1:in", "--port", "1"}), ExitStatus::usage);
    EXPECT_THAT(m_err.toStdString(), HasSubstr("cannot read the configuration"));
    EXPECT_EQ(run({"ls", "127.0.0.1:in", "--port", "1", "--config", "/dev/null"}), ExitStatus::unreachable);
    EXPECT_EQ(run({"ls", "127.0.0.1:in", "--port", "1"}, {"VESK_CONFIG="}), ExitStatus::unreachable);
}

TEST_F(ConfigTest, LooksInTheConfigurationDirectoryOfTheUser)
{
    configure("[client]\nretries = 4\n", "home/.config/vesk/vesk.toml");
    configure("[client]\nretries = 5\n", "xdg/vesk/vesk.toml");
    EXPECT_EQ(setting("client", "retries", {"VESK_CONFIG="})["values"], QJsonArray{"4"});
    EXPECT_EQ(setting("client", "retries",
                      {"VESK_CONFIG=", "XDG_CONFIG_HOME=" + m_directory.path("xdg")})["values"],
              QJsonArray{"5"});
}

TEST_F(ConfigTest, ChecksFileAndEnvironment)
{
    configure("[client]\nretries = 3\n");
    EXPECT_EQ(run({"config", "check"}), 0) << m_out.toStdString();
    EXPECT_EQ(m_out, m_directory.path("vesk.toml") + ": no fault\n");
    EXPECT_EQ(run({"config", "check"}, {"VESK_RETRYS=3", "VESK_MTU=1"}), ExitStatus::usage);
    EXPECT_EQ(m_out,
              "VESK_MTU: Value 1 not in range 576 to 65000\n"
              "VESK_RETRYS: no option has this variable (did you mean VESK_RETRIES?)\n"
                  + m_directory.path("vesk.toml") + ": 2 faults\n");
    configure("[client]\nmtu = 1\nretries = true\n");
    EXPECT_EQ(run({"config", "check", "--json"}), ExitStatus::usage);
    const QStringList lines = m_out.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 3) << m_out.toStdString();
    EXPECT_EQ(QJsonDocument::fromJson(lines[0].toUtf8()).object()["line"], 2);
    EXPECT_EQ(QJsonDocument::fromJson(lines[1].toUtf8()).object()["line"], 3);
    EXPECT_EQ(QJsonDocument::fromJson(lines[2].toUtf8()).object()["faults"], 2);
    EXPECT_EQ(QJsonDocument::fromJson(lines[2].toUtf8()).object()["exitCode"], ExitStatus::usage);
    configure("");
    EXPECT_EQ(run({"config", "check", "--json"}), 0);
    EXPECT_EQ(QJsonDocument::fromJson(m_out.toUtf8()).object()["exitCode"], 0);
}

TEST_F(ConfigTest, TellsWrongUseInEventsHoweverTheyWereAskedFor)
{
    const auto eventOfLine = [this](int number) {
        return QJsonDocument::fromJson(m_out.section('\n', number, number).toUtf8())
            .object()["event"]
            .toString();
    };
    const QStringList unknownOption = {"put", m_file, "127.0.0.1:in", "--absent"};
    const QStringList noTarget = {"put", m_file};
    const auto expectEvents = [&](const QString &how) {
        EXPECT_EQ(eventOfLine(0), "error") << how.toStdString();
        EXPECT_EQ(eventOfLine(1), "summary") << how.toStdString();
    };
    configure("");
    for (const QStringList &arguments : {unknownOption, noTarget}) {
        EXPECT_EQ(run(arguments + QStringList{"--json"}), ExitStatus::usage);
        expectEvents("the option");
        EXPECT_EQ(run(arguments, {"VESK_JSON=1"}), ExitStatus::usage);
        expectEvents("the variable");
        EXPECT_EQ(run(arguments, {"VESK_JSON=false"}), ExitStatus::usage);
        EXPECT_EQ(m_out, QString());
    }
    configure("[client]\njson = true\n");
    EXPECT_EQ(run(noTarget), ExitStatus::usage);
    expectEvents("the configuration");
}

TEST_F(ConfigTest, HasAVariableAndAKeyForEveryOptionOfEveryVerb)
{
    configure("");
    EXPECT_EQ(run({"config", "show", "--json"}), 0);
    const QString settings = m_out;
    EXPECT_EQ(run({"help"}), 0);
    static const QRegularExpression verbLine("^  ([a-z]+)  ", QRegularExpression::MultilineOption);
    static const QRegularExpression optionLine("^  (?:-., )?--([a-z0-9-]+)",
                                               QRegularExpression::MultilineOption);
    const QStringList withoutKeys = {"config", "completion", "help", "version"};
    for (auto verbs = verbLine.globalMatch(m_out.section("Verbs:", 1)); verbs.hasNext();) {
        const QString verb = verbs.next().captured(1);
        if (withoutKeys.contains(verb))
            continue;
        EXPECT_EQ(run({"help", verb, "--all"}), 0);
        for (auto options = optionLine.globalMatch(m_out.section("\nUsage: ", 1)); options.hasNext();) {
            const QString name = options.next().captured(1);
            if (name.startsWith("help") || name == "config")
                continue;
            const QString key = QString(name).replace('-', '_');
            EXPECT_TRUE(settings.contains("\"key\":\"" + key + '"'))
                << verb.toStdString() << " --" << name.toStdString();
            EXPECT_TRUE(settings.contains("\"VESK_" + key.toUpper() + '"')) << name.toStdString();
        }
    }
}

} // namespace
