#include "tests/host/program.h"

#include "tests/support/temp_dir.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

#include <gmock/gmock.h>

#include <map>

using namespace VESK::Test;
using testing::HasSubstr;

namespace
{

class DoctorTest : public testing::Test
{
protected:
    // The exit code; findings by their check.
    int examine(const QStringList &arguments)
    {
        Program program(QStringList{QStringLiteral("doctor"), QStringLiteral("--json")} + arguments);
        const int code = program.waitForEnd();
        m_findings.clear();
        const QStringList lines = program.out().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        for (const QString &line : lines) {
            const QJsonObject event = QJsonDocument::fromJson(line.toUtf8()).object();
            if (event.value(QStringLiteral("event")).toString() == QLatin1String("finding"))
                m_findings[event.value(QStringLiteral("check")).toString().toStdString()] = event;
        }
        return code;
    }

    std::string grade(const char *check) { return field(check, "grade"); }
    std::string text(const char *check) { return field(check, "text"); }
    std::string field(const char *check, const char *name)
    {
        return m_findings[check].value(QLatin1String(name)).toString().toStdString();
    }

    TempDir m_directory;
    std::map<std::string, QJsonObject> m_findings;
};

TEST_F(DoctorTest, FollowsTheWayToAServer)
{
    ASSERT_TRUE(m_directory.mkdir(QStringLiteral("in")));
    ServerProgram server(m_directory.path(QStringLiteral("in")));
    const int code = examine({QStringLiteral("127.0.0.1"), QStringLiteral("--port"),
                              QString::number(server.port()), QStringLiteral("--dir"), m_directory.path()});
    EXPECT_TRUE(code == 0 || code == 1) << "the kernel's buffers are what they are";
    EXPECT_EQ(grade("name"), "good");
    EXPECT_EQ(grade("reach"), "good");
    EXPECT_EQ(grade("hello"), "good");
    EXPECT_THAT(text("hello"), HasSubstr("know the token"));
    EXPECT_EQ(grade("delay"), "good");
    EXPECT_EQ(grade("clock"), "good") << "it is the same one";
    EXPECT_THAT(text("packets"), HasSubstr("packets of 1400 bytes pass"));
    EXPECT_EQ(grade("files"), "good");
    EXPECT_EQ(grade("module"), "good");
    EXPECT_EQ(grade("links"), "good");
    EXPECT_EQ(m_findings.count("disk"), 1u);
    EXPECT_EQ(m_findings.count("buffers"), 1u);
    EXPECT_EQ(code == 1, grade("buffers") == "slow" || grade("disk") == "slow");

    Program put({QStringLiteral("put"), QStringLiteral(VESK_PROGRAM), server.url(QStringLiteral("in"))});
    EXPECT_EQ(put.waitForEnd(), 0) << "the server is as well as before";
}

TEST_F(DoctorTest, TellsATokenThatIsNotTheServers)
{
    ASSERT_TRUE(m_directory.mkdir(QStringLiteral("in")));
    ServerProgram server(m_directory.path(QStringLiteral("in")));
    ServerProgram other(m_directory.path(QStringLiteral("in")), 0,
                        {QStringLiteral("--token-file"), m_directory.path(QStringLiteral("token"))});
    ASSERT_NE(other.port(), 0);
    EXPECT_EQ(examine({QStringLiteral("127.0.0.1"), QStringLiteral("--port"), QString::number(server.port()),
                       QStringLiteral("--token-file"), m_directory.path(QStringLiteral("token"))}),
              1);
    EXPECT_EQ(grade("hello"), "slow");
    EXPECT_THAT(text("hello"), HasSubstr("does not know the token"));
    EXPECT_THAT(text("packets"), HasSubstr("packets of 1400 bytes pass")) << "the rest is looked at";
}

TEST_F(DoctorTest, TellsAServerThatIsNotThere)
{
    quint16 freePort = 0;
    {
        ServerProgram server(m_directory.path());
        freePort = server.port();
        server.program().kill();
    }
    EXPECT_EQ(
        examine({QStringLiteral("127.0.0.1:share"), QStringLiteral("--port"), QString::number(freePort)}), 3);
    EXPECT_EQ(grade("name"), "good");
    EXPECT_EQ(grade("reach"), "unreachable");
    EXPECT_THAT(text("reach"), HasSubstr("refuses connections"));
    EXPECT_EQ(m_findings.count("packets"), 0u);
    EXPECT_EQ(m_findings.count("buffers"), 1u) << "this machine is looked at all the same";
}

TEST_F(DoctorTest, TellsANameWithoutAddress)
{
    EXPECT_EQ(examine({QStringLiteral("name.invalid")}), 3);
    EXPECT_EQ(grade("name"), "unreachable");
}

TEST_F(DoctorTest, LooksAtThisMachineAlone)
{
    Program program(
        {QStringLiteral("doctor"), QStringLiteral("--dir"), m_directory.path(QStringLiteral("absent"))});
    EXPECT_EQ(program.waitForEnd(), 1);
    EXPECT_THAT(program.out().toStdString(), HasSubstr("slow         disk"));
    EXPECT_THAT(program.out().toStdString(), HasSubstr("> mkdir -p "));
    EXPECT_EQ(program.err(), QString());
}

TEST_F(DoctorTest, RefusesAnAddressThatIsNone)
{
    EXPECT_EQ(Program({QStringLiteral("doctor"), QStringLiteral("[::1")}).waitForEnd(), 2);
}

} // namespace
