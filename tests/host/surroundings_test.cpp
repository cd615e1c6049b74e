// What surrounds the program: its standard streams, variables, home directory and terminal.
#include "tests/host/program.h"
#include "tests/support/temp_dir.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <gmock/gmock.h>

using namespace VESK::Test;
using testing::HasSubstr;

namespace
{

class SurroundingsTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_directory.mkdir("in"));
        ASSERT_TRUE(m_directory.write("f", "content"));
        ASSERT_TRUE(m_directory.write("[ab]", "brackets"));
        m_file = m_directory.path("f");
    }

    // Runs the program as a shell does that is told `redirections`.
    int redirected(const QString &redirections, const QStringList &arguments)
    {
        return wrapped({"sh", "-c", "exec \"$@\" " + redirections, "sh"}, arguments);
    }

    int wrapped(const QStringList &wrapper, const QStringList &arguments)
    {
        Program program(arguments, wrapper);
        const int code = program.waitForEnd();
        m_out = program.out();
        m_err = program.err();
        return code;
    }

    void expectPut()
    {
        EXPECT_EQ(m_directory.read("in/f"), "content");
        EXPECT_TRUE(QFile::remove(m_directory.path("in/f")));
    }

    TempDir m_directory;
    QString m_file;
    QString m_out;
    QString m_err;
};

TEST_F(SurroundingsTest, WorksWithoutAPlaceForItsMessages)
{
    ServerProgram server(m_directory.path("in"), 0, {"--auth", "none"});
    for (const char *redirection : {"2>/dev/full", "2>&-", "<&-", "<&- 2>&-"}) {
        EXPECT_EQ(redirected(redirection, {"put", m_file, server.url("in")}), 0) << redirection;
        expectPut();
    }
    EXPECT_EQ(redirected("2>/dev/full", {"put", m_directory.path("absent"), server.url("in")}), 5);
    EXPECT_EQ(redirected("2>&-", {"put"}), 2);
}

TEST_F(SurroundingsTest, TellsThatItsOutputIsNotComplete)
{
    ASSERT_TRUE(m_directory.write("in/g", "x"));
    ServerProgram server(m_directory.path("in"), 0, {"--auth", "none"});
    const QList<QStringList> commands = {{"ls", server.url("in")},
                                         {"ls", "--json", server.url("in")},
                                         {"help"},
                                         {"put", "--help"},
                                         {"version"},
                                         {"--version"},
                                         {"config", "show"},
                                         {"completion", "bash"},
                                         {"version", "--json"},
                                         {"config", "check", "--json"}};
    for (const QStringList &command : commands) {
        EXPECT_EQ(redirected(">/dev/full", command), 7) << command.join(' ').toStdString();
        EXPECT_EQ(m_err, "error: cannot write to stdout: No space left on device.\n");
        EXPECT_EQ(redirected(">&-", command), 7) << command.join(' ').toStdString();
        EXPECT_EQ(m_err, "error: cannot write to stdout: Bad file descriptor.\n");
    }
}

TEST_F(SurroundingsTest, SendsTheFileAndTellsThatItsEventsAreLost)
{
    ServerProgram server(m_directory.path("in"), 0, {"--auth", "none"});
    EXPECT_EQ(redirected(">/dev/full", {"put", "--json", m_file, server.url("in")}), 7);
    EXPECT_THAT(m_err.toStdString(), HasSubstr("error: cannot write to stdout"));
    expectPut();
    EXPECT_EQ(redirected(">&-", {"put", m_file, server.url("in")}), 0) << m_err.toStdString();
    expectPut();
}

TEST_F(SurroundingsTest, TakesAReaderThatHasSeenEnoughForNoFailure)
{
    const int code =
        wrapped({"bash", "-c", "\"$@\" | true; exit ${PIPESTATUS[0]}", "bash"}, {"help", "put", "--all"});
    EXPECT_EQ(code, 0) << m_err.toStdString();
    EXPECT_EQ(m_err, "");
}

TEST_F(SurroundingsTest, WorksWithoutVariables)
{
    QStringList none{"env", "-i"};
    if (qEnvironmentVariableIsSet("TSAN_OPTIONS")) // says which faults of libraries are known
        none << "TSAN_OPTIONS=" + qEnvironmentVariable("TSAN_OPTIONS");
    ServerProgram server(m_directory.path("in"), 0, {"--auth", "none"});
    EXPECT_EQ(wrapped(none, {"put", m_file, server.url("in")}), 0) << m_err.toStdString();
    expectPut();
    EXPECT_EQ(wrapped(none + QStringList{"HOME=/nonexistent"}, {"put", m_file, server.url("in")}), 0)
        << m_err.toStdString();
    expectPut();
    EXPECT_EQ(wrapped({"env", "-u", "HOME", "TERM=dumb", "LANG=C", "LC_ALL=C"},
                      {"put", m_file, server.url("in"), "--progress", "bar"}),
              0)
        << m_err.toStdString();
    expectPut();
}

TEST_F(SurroundingsTest, TakesNamesForUtf8InEveryLocale)
{
    ServerProgram server(m_directory.path("in"), 0, {"--auth", "none"});
    ASSERT_TRUE(m_directory.write("\xC3\xBC", "umlaut"));
    for (const char *locale : {"LC_ALL=C", "LC_ALL=", "LC_ALL=xx_YY.ISO-8859-1"}) {
        EXPECT_EQ(wrapped({"env", locale}, {"put", m_directory.path("\xC3\xBC"), server.url("in")}), 0)
            << m_err.toStdString();
        EXPECT_EQ(m_directory.entries().filter("in/").value(1), "in/\xC3\xBC");
        EXPECT_EQ(wrapped({"env", locale}, {"ls", server.url("in")}), 0) << m_err.toStdString();
        EXPECT_EQ(m_out, "\xC3\xBC\n");
    }
}

TEST_F(SurroundingsTest, WorksWithAHomeDirectoryThatNobodyCanWriteTo)
{
    ServerProgram server(m_directory.path("in"), 0, {"--auth", "none"});
    const QStringList wrapper = {"env", "VESK_CONFIG=", "XDG_CONFIG_HOME=", "XDG_CACHE_HOME=", "HOME=/proc"};
    EXPECT_EQ(wrapped(wrapper, {"put", m_file, server.url("in")}), 0) << m_err.toStdString();
    expectPut();
}

TEST_F(SurroundingsTest, TakesANameInBracketsForAName)
{
    ServerProgram server(m_directory.path("in"), 0, {"--auth", "none"});
    EXPECT_EQ(wrapped({"env", "--chdir=" + m_directory.path()}, {"put", "[ab]", server.url("in")}), 0)
        << m_err.toStdString();
    EXPECT_EQ(m_directory.read("in/[ab]"), "brackets");
}

} // namespace
