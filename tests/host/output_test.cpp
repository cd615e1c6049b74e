#include "tests/host/program.h"
#include "tests/host/scripted_server.h"

#include "tests/support/temp_dir.h"

#include <QtCore/QFile>
#include <QtCore/QRegularExpression>

#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <future>

using namespace VESK::Test;
using testing::HasSubstr;
using testing::Not;

namespace
{

class OutputTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_directory.mkdir(QStringLiteral("in")));
        ASSERT_TRUE(m_directory.write(QStringLiteral("f"), pattern(100000)));
    }

    QStringList put(const QString &target, const QStringList &more) const
    {
        return QStringList{QStringLiteral("put"), m_directory.path(QStringLiteral("f")), target} + more;
    }

    TempDir m_directory;
};

// A server that takes the client in and says nothing until it is let go.
class SilentServer
{
public:
    SilentServer()
        : m_server([this](ScriptedPeer &) {
            m_hasCome.set_value();
            m_isOver.get_future().wait();
        })
    {
    }
    ~SilentServer() { m_isOver.set_value(); }
    SilentServer(const SilentServer &) = delete;
    SilentServer &operator=(const SilentServer &) = delete;

    bool waitForClient()
    {
        return m_hasCome.get_future().wait_for(std::chrono::seconds(30)) == std::future_status::ready;
    }

private:
    std::promise<void> m_hasCome;
    std::promise<void> m_isOver;
    ScriptedServer m_server;
};

TEST_F(OutputTest, WritesNothingThatMovesACursorWhereThereIsNoTerminal)
{
    ServerProgram server(m_directory.path(QStringLiteral("in")));
    Program client(put(server.url(QStringLiteral("in")),
                       {QStringLiteral("-v"), QStringLiteral("--stats"), QStringLiteral("10ms")}));
    EXPECT_EQ(client.waitForEnd(), 0);
    const QString err = client.err();
    EXPECT_FALSE(err.contains(QRegularExpression(QStringLiteral("[\\x00-\\x09\\x0b-\\x1f\\x7f]"))))
        << qPrintable(err);
    EXPECT_THAT(err.toStdString(), HasSubstr("1 file sent"));
}

TEST_F(OutputTest, SaysNothingWhenItIsToBeQuietAndAllIsWell)
{
    ServerProgram server(m_directory.path(QStringLiteral("in")));
    Program client(put(server.url(QStringLiteral("in")), {QStringLiteral("-q")}));
    EXPECT_EQ(client.waitForEnd(), 0);
    EXPECT_EQ(client.err(), QString());
    EXPECT_EQ(client.out(), QString());
    Program failing(put(server.url(QStringLiteral("absent")), {QStringLiteral("-q")}));
    EXPECT_EQ(failing.waitForEnd(), 8);
    EXPECT_THAT(failing.err().toStdString(), HasSubstr("error: f: the server refused"));
}

TEST_F(OutputTest, WritesALineSoOftenAsItIsAsked)
{
    const SilentServer server;
    Program client(
        put(ScriptedServer::url(QStringLiteral("in")), {QStringLiteral("--stats"), QStringLiteral("100ms")}));
    EXPECT_TRUE(waitUntil([&] {
        return client.err().count(QStringLiteral("f: waiting for the server\n")) >= 3;
    })) << qPrintable(client.err());
    client.signal(SIGINT);
    EXPECT_EQ(client.waitForEnd(), 130);
}

TEST_F(OutputTest, TellsItsStatusOnASignalAndGoesOn)
{
    SilentServer server;
    Program client(put(ScriptedServer::url(QStringLiteral("in")), {QStringLiteral("-q")}));
    ASSERT_TRUE(server.waitForClient());
    for (int told = 1; told <= 2; ++told) {
        client.signal(SIGUSR1);
        EXPECT_TRUE(waitUntil([&] { return client.err().count(QStringLiteral("status after ")) == told; }));
    }
    EXPECT_TRUE(waitUntil([&] {
        client.signal(SIGUSR1); // the phase is known a moment after the task has begun
        return client.err().contains(QStringLiteral("  f: waiting for the server\n"));
    })) << qPrintable(client.err());
    EXPECT_TRUE(client.isRunning());
    client.signal(SIGINT);
    EXPECT_EQ(client.waitForEnd(), 130);
}

TEST_F(OutputTest, AppendsAllThatIsSaidToALogFile)
{
    ServerProgram server(m_directory.path(QStringLiteral("in")));
    const QStringList more = {QStringLiteral("-q"), QStringLiteral("--log-file"),
                              m_directory.path(QStringLiteral("log"))};
    EXPECT_EQ(Program(put(server.url(QStringLiteral("in")), more)).waitForEnd(), 0);
    EXPECT_EQ(Program(put(server.url(QStringLiteral("absent")), more)).waitForEnd(), 8);
    const QString log = QString::fromUtf8(m_directory.read(QStringLiteral("log")));
    EXPECT_THAT(log.toStdString(), HasSubstr(" 1 file sent"));
    EXPECT_THAT(log.toStdString(), HasSubstr(" error: f: the server refused"));
    EXPECT_THAT(log.toStdString(), HasSubstr("uploadRequest: ")) << "the handler's lines too";
    static const QRegularExpression stamped(
        QStringLiteral("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z [^\\n]+$"));
    const QStringList lines = log.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString &line : lines)
        EXPECT_TRUE(stamped.match(line).hasMatch()) << qPrintable(line);
    EXPECT_EQ(QFile::permissions(m_directory.path(QStringLiteral("log"))) & 0x0077, 0);
}

TEST_F(OutputTest, RefusesALogFileThatCannotBeWritten)
{
    Program client(put(QStringLiteral("127.0.0.1:in"),
                       {QStringLiteral("--log-file"), m_directory.path(QStringLiteral("absent/log"))}));
    EXPECT_EQ(client.waitForEnd(), 2);
    EXPECT_THAT(client.err().toStdString(), HasSubstr("cannot write the log file"));
}

TEST_F(OutputTest, RefusesAnIntervalThatIsNone)
{
    for (const QString &text : {QStringLiteral("soon"), QStringLiteral("-5s"), QStringLiteral("5 weeks")})
        EXPECT_EQ(
            Program(put(QStringLiteral("127.0.0.1:in"), {QStringLiteral("--stats"), text})).waitForEnd(), 2)
            << qPrintable(text);
}

} // namespace
