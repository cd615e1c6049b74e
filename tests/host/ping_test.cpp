#include "host/client/ping_report.h"

#include "tests/host/program.h"
#include "tests/host/scripted_server.h"

#include "tests/support/temp_dir.h"

#include <QtCore/QJsonArray>

#include <gmock/gmock.h>

using namespace VESK;
using namespace VESK::Host;
using namespace VESK::Test;
using testing::HasSubstr;

namespace
{

class PingTest : public testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(m_directory.mkdir("in"_s)); }

    int ping(const QString &place, const QStringList &more = {})
    {
        m_client = std::make_unique<Program>(QStringList{"ping"_s, place} + more);
        const int code = m_client->waitForEnd();
        m_out = m_client->out().toStdString();
        m_err = m_client->err().toStdString();
        return code;
    }

    QString server(const ServerProgram &program) const
    {
        return QStringLiteral("vesk://127.0.0.1:%1").arg(program.port());
    }

    TempDir m_directory;
    std::unique_ptr<Program> m_client;
    std::string m_out;
    std::string m_err;
};

TEST_F(PingTest, TellsWhatTheServerIsAndOffers)
{
    ServerProgram program(m_directory.path("in"_s), 0,
                          {"--share"_s, QStringLiteral("films=%1:r").arg(m_directory.path("in"_s))});
    ASSERT_EQ(ping(server(program)), 0) << m_err;
    EXPECT_THAT(m_out, HasSubstr("127.0.0.1 (127.0.0.1:"));
    EXPECT_THAT(m_out, HasSubstr("module VESK-2.0.0"));
    EXPECT_THAT(m_out, HasSubstr("median of 5"));
    EXPECT_THAT(m_out, HasSubstr("1400 bytes"));
    EXPECT_THAT(m_out, HasSubstr("agree within"));
    EXPECT_THAT(m_out, HasSubstr("both ends have proved"));
    EXPECT_THAT(m_out, HasSubstr("r  films"));
    EXPECT_THAT(m_out, HasSubstr("rw in"));
    EXPECT_THAT(m_out, HasSubstr("encryption   none"));
    EXPECT_EQ(m_err, "");
}

TEST_F(PingTest, TellsItAsJson)
{
    ServerProgram program(m_directory.path("in"_s), 0, {"--auth"_s, "none"_s});
    ASSERT_EQ(ping(server(program), {"--json"_s, "-c"_s, "3"_s}), 0) << m_err;
    const QJsonObject event = m_client->event("ping"_s);
    EXPECT_EQ(event.value("v"_s).toInt(), 1);
    EXPECT_EQ(event.value("port"_s).toInt(), program.port());
    EXPECT_EQ(event.value("auth"_s).toString(), "none"_s);
    EXPECT_EQ(event.value("packetSize"_s).toInt(), 1400);
    const QJsonObject times = event.value("roundTripMs"_s).toObject();
    EXPECT_EQ(times.value("samples"_s).toArray().size(), 3);
    EXPECT_GT(times.value("min"_s).toDouble(), 0);
    EXPECT_GE(times.value("median"_s).toDouble(), times.value("min"_s).toDouble());
    const QJsonObject share = event.value("shares"_s).toArray().at(0).toObject();
    EXPECT_EQ(share.value("name"_s).toString(), "in"_s);
    EXPECT_EQ(share.value("rights"_s).toString(), "rw"_s);
}

TEST_F(PingTest, LooksForAShareThatIsNamed)
{
    ServerProgram program(m_directory.path("in"_s));
    EXPECT_EQ(ping(program.url("in"_s)), 0) << m_err;
    EXPECT_EQ(ping(program.url("nope"_s)), 8);
    EXPECT_THAT(m_err, HasSubstr("it has no share \"nope\""));
}

TEST_F(PingTest, TellsAServerThatIsNotThere)
{
    QString gone;
    {
        ServerProgram program(m_directory.path("in"_s));
        gone = server(program);
        program.program().kill();
    }
    EXPECT_EQ(ping(gone), 3);
    EXPECT_THAT(m_err, HasSubstr("refuses connections"));
    EXPECT_EQ(ping(gone, {"--json"_s}), 3);
    EXPECT_EQ(m_client->event("error"_s).value("class"_s).toInt(), 3);
}

TEST_F(PingTest, TellsAServerThatSaysHelloAndNothingElse)
{
    const ScriptedServer silent([](ScriptedPeer &) {});
    const QString place = ScriptedServer::url(QString());
    EXPECT_EQ(ping(place.left(place.size() - 1)), 3);
    EXPECT_THAT(m_err, HasSubstr("said hello, but does not answer"));
}

TEST_F(PingTest, TellsWrongUse)
{
    EXPECT_EQ(ping("127.0.0.1"_s, {"-c"_s, "0"_s}), 2);
    EXPECT_EQ(ping("vesk://"_s), 2);
    EXPECT_EQ(ping("[::1"_s), 2);
}

TEST(PingReportTest, TakesTheClockOfTheFastestSample)
{
    const std::vector<PingSample> samples = {{30, 9}, {10, 1}, {20, 5}, {40, 7}};
    EXPECT_EQ(fastestSample(samples).clockDifferenceMs, 1);
    EXPECT_EQ(medianRoundTripMs(samples), 25);
    EXPECT_EQ(medianRoundTripMs({{30, 0}, {10, 0}, {20, 0}}), 20);
}

TEST(PingReportTest, TellsClocksThatDiffer)
{
    PingResult result;
    result.samples = {{10, -90000}};
    EXPECT_THAT(pingText(result, RemoteAddress()).toStdString(),
                HasSubstr("the server's is 90.000 s behind ours"));
    result.samples = {{10, 90}};
    EXPECT_THAT(pingText(result, RemoteAddress()).toStdString(), HasSubstr("0.090 s ahead of ours"));
    result.samples = {{10, 4}};
    EXPECT_THAT(pingText(result, RemoteAddress()).toStdString(), HasSubstr("agree within 6.00 ms"));
}

} // namespace
