#include "tests/host/interrupted_transfer.h"

#include <gmock/gmock.h>

#include <csignal>
#include <memory>

using namespace VESK::Test;
using testing::HasSubstr;

namespace
{

class ResumeTest : public InterruptedTransfer
{
protected:
    ResumeTest()
        : InterruptedTransfer(QStringLiteral("big"), QStringLiteral("in/big"))
    {
        EXPECT_TRUE(m_directory.mkdir(QStringLiteral("in")));
    }

    // The short limit is for a server that is up again before anybody notices that it was gone.
    QStringList putArguments(const ServerProgram &server) const
    {
        return {QStringLiteral("put"),
                QStringLiteral("--json"),
                QStringLiteral("--stall-timeout"),
                QStringLiteral("5"),
                m_file,
                server.url(QStringLiteral("in"))};
    }

    // What the server's system had buffered counts as arrived, and may be all of the rest.
    void expectRest(const QJsonObject &file, qint64 kept) const override
    {
        if (file.value(QStringLiteral("result")) == QStringLiteral("already-there"))
            EXPECT_EQ(number(file, "moved"), 0);
        else
            InterruptedTransfer::expectRest(file, kept);
    }

    const QString m_file = m_directory.path(QStringLiteral("big"));
};

class KilledAtTest : public ResumeTest, public testing::WithParamInterface<int>
{
};

INSTANTIATE_TEST_SUITE_P(Percent, KilledAtTest, testing::Values(10, 50, 90));

TEST_P(KilledAtTest, SendsOnlyWhatIsMissingAfterTheClientWasKilled)
{
    ServerProgram server(m_directory.path(QStringLiteral("in")));
    Program first(putArguments(server));
    ASSERT_TRUE(waitForPercent(GetParam())) << qPrintable(first.err());
    first.kill();
    const qint64 kept = sizeOf(m_partial);
    ASSERT_GT(kept, 0) << "it was through before it could be killed";

    Program second(putArguments(server));
    expectResumed(second, kept);
}

TEST_P(KilledAtTest, GoesOnByItselfAfterTheServerWasKilledAndStartedAgain)
{
    auto server = std::make_unique<ServerProgram>(m_directory.path(QStringLiteral("in")));
    const quint16 port = server->port();
    Program client(putArguments(*server));
    ASSERT_TRUE(waitForPercent(GetParam())) << qPrintable(client.err());
    server->program().kill();
    const qint64 kept = sizeOf(m_partial);
    ASSERT_GT(kept, 0) << "it was through before the server could be killed";
    server = std::make_unique<ServerProgram>(m_directory.path(QStringLiteral("in")), port);
    ASSERT_EQ(server->port(), port);
    expectResumed(client, kept);
    EXPECT_THAT(client.err().toStdString(), HasSubstr("Trying again"));
}

TEST_F(ResumeTest, GivesUpWhenTheServerStaysAway)
{
    ServerProgram server(m_directory.path(QStringLiteral("in")));
    Program client(putArguments(server) + QStringList{QStringLiteral("--retries"), QStringLiteral("1")});
    ASSERT_TRUE(waitForPercent(5));
    server.program().kill();
    EXPECT_EQ(client.waitForEnd(), 9);
    EXPECT_THAT(client.err().toStdString(), HasSubstr("is kept"));
    EXPECT_GT(sizeOf(m_partial), 0);
}

TEST_F(ResumeTest, KeepsThePartialFileWhenInterrupted)
{
    ServerProgram server(m_directory.path(QStringLiteral("in")));
    for (const int signal : {SIGINT, SIGTERM}) {
        const qint64 before = sizeOf(m_partial);
        Program client(putArguments(server));
        ASSERT_TRUE(waitUntil([&] { return sizeOf(m_partial) > before + (5 << 20); }));
        client.signal(signal);
        EXPECT_EQ(client.waitForEnd(10000), 128 + signal) << qPrintable(client.err());
        EXPECT_THAT(client.err().toStdString(), HasSubstr("Run the same command again"));
    }
    const qint64 kept = sizeOf(m_partial);
    ASSERT_GT(kept, 0);
    Program again(putArguments(server));
    expectResumed(again, kept);
}

TEST_F(ResumeTest, GoesOnAfterTheServerWasEndedInOrder)
{
    auto server =
        std::make_unique<ServerProgram>(m_directory.path(QStringLiteral("in")), 0,
                                        QStringList{QStringLiteral("--drain-time"), QStringLiteral("0")});
    const quint16 port = server->port();
    Program client(putArguments(*server));
    ASSERT_TRUE(waitForPercent(20));
    server->program().signal(SIGTERM);
    EXPECT_EQ(server->program().waitForEnd(10000), 0) << qPrintable(server->program().err());
    const qint64 kept = sizeOf(m_partial);
    ASSERT_GT(kept, 0);
    server = std::make_unique<ServerProgram>(m_directory.path(QStringLiteral("in")), port);
    expectResumed(client, kept);
}

TEST_F(ResumeTest, RefusesASecondWriterOfOneTargetWhileTheFirstIsAlive)
{
    ServerProgram server(m_directory.path(QStringLiteral("in")));
    // Slow enough not to be through before the second comes.
    Program first(putArguments(server) + QStringList{QStringLiteral("--limit-rate"), QStringLiteral("15M")});
    ASSERT_TRUE(waitForPercent(5));
    Program second(putArguments(server));
    EXPECT_EQ(second.waitForEnd(), 8) << qPrintable(second.err());
    EXPECT_THAT(second.err().toStdString(), HasSubstr("being uploaded by somebody else"));
    EXPECT_EQ(first.waitForEnd(), 0) << qPrintable(first.err());
    EXPECT_TRUE(m_directory.read(QStringLiteral("in/big")) == m_content);
}

} // namespace
