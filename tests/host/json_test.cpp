#include "tests/host/program.h"

#include "tests/support/temp_dir.h"

#include <QtCore/QProcess>
#include <QtCore/QStandardPaths>

#include <gmock/gmock.h>

using namespace VESK::Test;

namespace
{

// What a verb writes with --json, read by a program that knows nothing of this one.
class JsonTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (QStandardPaths::findExecutable(QStringLiteral("jq")).isEmpty())
            GTEST_SKIP() << "jq is not installed";
        ASSERT_TRUE(m_directory.mkdir(QStringLiteral("in")));
        ASSERT_TRUE(m_directory.write(QStringLiteral("f"), pattern(100000)));
        m_server = std::make_unique<ServerProgram>(m_directory.path(QStringLiteral("in")));
        ASSERT_NE(m_server->port(), 0);
    }

    QString file() const { return m_directory.path(QStringLiteral("f")); }
    QString url(const QString &path) const { return m_server->url(path); }

    // The exit code of a verb; what it wrote is kept for jq().
    int run(const QString &verb, const QStringList &arguments)
    {
        Program program(QStringList{verb, QStringLiteral("--json")} + arguments);
        const int code = program.waitForEnd();
        m_out = program.out();
        return code;
    }

    // The result of a filter over the list of all events, without its line end.
    std::string jq(const char *filter) const
    {
        QProcess process;
        process.start(
            QStringLiteral("jq"),
            {QStringLiteral("-s"), QStringLiteral("-c"), QStringLiteral("-r"), QString::fromUtf8(filter)});
        process.write(m_out.toUtf8());
        process.closeWriteChannel();
        EXPECT_TRUE(process.waitForFinished());
        EXPECT_EQ(process.exitCode(), 0) << qPrintable(m_out) << process.readAllStandardError().constData();
        return process.readAllStandardOutput().trimmed().toStdString();
    }

    // Of what every verb promises: version, first and last event, exit code at the end.
    void expectFrame(const char *verb, int exitCode) const
    {
        EXPECT_EQ(jq("map(.v) | unique"), "[1]");
        EXPECT_EQ(jq("map(select(.event == null)) | length"), "0");
        EXPECT_EQ(jq(".[0] | .event + \" \" + .verb"), std::string("start ") + verb);
        EXPECT_EQ(jq(".[0].time | test(\"^[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9:]{8}[.][0-9]{3}Z$\")"), "true");
        EXPECT_EQ(jq(".[-1] | .event"), "summary");
        EXPECT_EQ(jq(".[-1] | .exitCode"), std::to_string(exitCode));
        EXPECT_EQ(jq("map(select(.event == \"start\" or .event == \"summary\")) | length"), "2");
    }

    TempDir m_directory;
    std::unique_ptr<ServerProgram> m_server;
    QString m_out;
};

TEST_F(JsonTest, TellsAnUpload)
{
    ASSERT_EQ(run(QStringLiteral("put"), {file(), url(QStringLiteral("in"))}), 0);
    expectFrame("put", 0);
    EXPECT_EQ(jq(".[] | select(.event == \"file\") | [.result, .size, .from, .moved]"),
              "[\"sent\",100000,0,100000]");
    EXPECT_EQ(jq(".[] | select(.event == \"file\") | .name"), file().toStdString());
    EXPECT_EQ(jq(".[-1] | [.sent, .alreadyThere, .failed, .skipped, .movedBytes, .resumedBytes, .verify]"),
              "[1,0,0,0,100000,0,\"xxh128\"]");
    EXPECT_EQ(jq(".[-1] | .bytesPerSecond > 0 and .seconds > 0"), "true");
    ASSERT_EQ(run(QStringLiteral("put"), {file(), url(QStringLiteral("in"))}), 0);
    EXPECT_EQ(jq(".[-1] | [.sent, .alreadyThere, .movedBytes, .skippedBytes]"), "[0,1,0,100000]");
}

TEST_F(JsonTest, TellsAFailedUpload)
{
    ASSERT_EQ(run(QStringLiteral("put"), {file(), url(QStringLiteral("absent"))}), 8);
    expectFrame("put", 8);
    EXPECT_EQ(jq(".[] | select(.event == \"error\") | [.class, .reason]"), "[8,\"NoSuchShare\"]");
    EXPECT_EQ(jq(".[] | select(.event == \"error\") | .name"), file().toStdString());
    EXPECT_EQ(jq(".[] | select(.event == \"error\") | .hints | length > 0"), "true");
    EXPECT_EQ(jq(".[-1] | .failed"), "1");
}

TEST_F(JsonTest, TellsADownload)
{
    ASSERT_EQ(run(QStringLiteral("put"), {file(), url(QStringLiteral("in"))}), 0);
    ASSERT_EQ(
        run(QStringLiteral("get"), {url(QStringLiteral("in/f")), m_directory.path(QStringLiteral("out"))}),
        0);
    expectFrame("get", 0);
    EXPECT_EQ(jq(".[] | select(.event == \"file\") | [.result, .size]"), "[\"received\",100000]");
    EXPECT_EQ(jq(".[-1] | [.received, .receivedBytes]"), "[1,100000]");
}

TEST_F(JsonTest, TellsAFailedDownload)
{
    ASSERT_EQ(run(QStringLiteral("get"), {url(QStringLiteral("in/absent")), m_directory.path()}), 5);
    expectFrame("get", 5);
    EXPECT_EQ(jq(".[] | select(.event == \"error\") | [.class, .reason]"), "[5,\"FileNotExist\"]");
}

TEST_F(JsonTest, TellsAListing)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("in/d/x"), "x"));
    ASSERT_EQ(run(QStringLiteral("ls"), {url(QStringLiteral("in"))}), 0);
    expectFrame("ls", 0);
    EXPECT_EQ(jq("map(select(.event == \"entry\") | [.kind, .path]) | sort"),
              "[[\"dir\",\"d\"],[\"file\",\"d/x\"]]");
    EXPECT_EQ(jq(".[-1] | .listed"), "2");
    ASSERT_EQ(run(QStringLiteral("ls"), {url(QStringLiteral("in/absent"))}), 5);
    expectFrame("ls", 5);
    EXPECT_EQ(jq(".[] | select(.event == \"error\") | .class"), "5");
}

TEST_F(JsonTest, TellsADirectoryThatIsMade)
{
    ASSERT_EQ(run(QStringLiteral("mkdir"), {url(QStringLiteral("in/a/b"))}), 0);
    expectFrame("mkdir", 0);
    EXPECT_EQ(jq(".[] | select(.event == \"directory\") | .name"), "in/a/b");
    EXPECT_EQ(jq(".[-1] | .directories"), "1");
    ASSERT_EQ(run(QStringLiteral("mkdir"), {url(QStringLiteral("absent/a"))}), 8);
    expectFrame("mkdir", 8);
}

TEST_F(JsonTest, TellsAPing)
{
    ASSERT_EQ(
        run(QStringLiteral("ping"), {url(QStringLiteral("in")), QStringLiteral("-c"), QStringLiteral("2")}),
        0);
    expectFrame("ping", 0);
    EXPECT_EQ(jq(".[] | select(.event == \"ping\") | .roundTripMs.samples | length"), "2");
    ASSERT_EQ(run(QStringLiteral("ping"), {url(QStringLiteral("absent"))}), 8);
    expectFrame("ping", 8);
}

TEST_F(JsonTest, TellsWhatTheDoctorFinds)
{
    const int code = run(QStringLiteral("doctor"), {});
    expectFrame("doctor", code);
    EXPECT_EQ(jq("map(select(.event == \"finding\") | .grade) - [\"good\", \"note\", \"slow\"]"), "[]");
    EXPECT_EQ(jq("map(select(.event == \"finding\") | .mend | type) | unique"), "[\"array\"]");
    ASSERT_EQ(run(QStringLiteral("doctor"), {QStringLiteral("name.invalid")}), 3);
    expectFrame("doctor", 3);
}

TEST_F(JsonTest, TellsWrongUse)
{
    for (const QString &verb : {QStringLiteral("put"), QStringLiteral("get"), QStringLiteral("ls"),
                                QStringLiteral("mkdir"), QStringLiteral("doctor")}) {
        ASSERT_EQ(run(verb, {QStringLiteral("--no-such-option")}), 2) << qPrintable(verb);
        EXPECT_EQ(jq("map(.event)"), "[\"error\",\"summary\"]") << qPrintable(verb);
        EXPECT_EQ(jq(".[0].class"), "2");
        EXPECT_EQ(jq(".[-1].exitCode"), "2");
    }
    ASSERT_EQ(run(QStringLiteral("put"), {file(), QStringLiteral("no-server")}), 2);
    EXPECT_EQ(jq("map(.event)"), "[\"error\",\"summary\"]");
}

TEST_F(JsonTest, TellsProgress)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("g"), pattern(60000000)));
    ASSERT_EQ(run(QStringLiteral("put"),
                  {QStringLiteral("--stats"), QStringLiteral("10ms"), file(),
                   m_directory.path(QStringLiteral("g")), url(QStringLiteral("in"))}),
              0);
    EXPECT_EQ(jq("map(select(.event == \"progress\")) | length > 0"), "true");
    EXPECT_EQ(jq("map(select(.event == \"progress\") | [.filesKnown, .bytesKnown, .allKnown]) | unique"),
              "[[2,60100000,true]]");
    EXPECT_EQ(jq("[.[] | select(.event == \"progress\") | .bytesDone] | . == sort"), "true");
    EXPECT_EQ(jq("[.[] | select(.event == \"progress\") | .tasks[].phase] - [\"hashing\", \"waiting\", "
                 "\"sending\", \"verifying\"]"),
              "[]");
}

} // namespace
