#include "tests/host/interrupted_transfer.h"

#include <gmock/gmock.h>

#include <csignal>
#include <memory>

using namespace VESK::Test;
using testing::HasSubstr;

namespace
{

class GetResumeTest : public InterruptedTransfer
{
protected:
    GetResumeTest()
        : InterruptedTransfer(QStringLiteral("srv/big"), QStringLiteral("here/big"))
    {
    }

    std::unique_ptr<Program> start(const ServerProgram &server) const
    {
        return std::make_unique<Program>(QStringList{QStringLiteral("get"), QStringLiteral("--json"),
                                                     server.url(QStringLiteral("srv/big")),
                                                     m_directory.path(QStringLiteral("here"))});
    }

    const QString m_share = m_directory.path(QStringLiteral("srv"));
};

TEST_F(GetResumeTest, ReceivesOnlyWhatIsMissingAfterTheClientWasKilled)
{
    ServerProgram server(m_share);
    qint64 kept = 0;
    for (const int percent : {10, 50}) {
        const auto client = start(server);
        ASSERT_TRUE(waitForPercent(percent)) << qPrintable(client->err());
        client->kill();
        ASSERT_FALSE(m_directory.exists(QStringLiteral("here/big"))) << "it was through too early";
        EXPECT_GT(sizeOf(m_partial), kept);
        kept = sizeOf(m_partial);
    }
    expectResumed(*start(server), kept);
}

TEST_F(GetResumeTest, GoesOnByItselfAfterTheServerWasKilledAndStartedAgain)
{
    auto server = std::make_unique<ServerProgram>(m_share);
    const quint16 port = server->port();
    const auto client = start(*server);
    ASSERT_TRUE(waitForPercent(20)) << qPrintable(client->err());
    server->program().kill();
    const qint64 kept = sizeOf(m_partial);
    server = std::make_unique<ServerProgram>(m_share, port);
    ASSERT_EQ(server->port(), port);
    expectResumed(*client, kept);
    EXPECT_THAT(client->err().toStdString(), HasSubstr("Trying again"));
}

TEST_F(GetResumeTest, GivesUpWhenTheServerStaysAway)
{
    ServerProgram server(m_share);
    Program client({QStringLiteral("get"), QStringLiteral("--retries"), QStringLiteral("1"),
                    server.url(QStringLiteral("srv/big")), m_directory.path(QStringLiteral("here"))});
    ASSERT_TRUE(waitForPercent(5));
    server.program().kill();
    EXPECT_EQ(client.waitForEnd(), 9);
    EXPECT_THAT(client.err().toStdString(), HasSubstr("is kept"));
    EXPECT_GT(sizeOf(m_partial), 0);

    Program late({QStringLiteral("get"), server.url(QStringLiteral("srv/big")),
                  m_directory.path(QStringLiteral("here"))});
    EXPECT_EQ(late.waitForEnd(), 3);
    EXPECT_THAT(late.err().toStdString(), HasSubstr("refuses connections"));
}

TEST_F(GetResumeTest, KeepsThePartialFileWhenInterrupted)
{
    ServerProgram server(m_share);
    const auto client = start(server);
    ASSERT_TRUE(waitForPercent(10));
    client->signal(SIGINT);
    EXPECT_EQ(client->waitForEnd(10000), 128 + SIGINT) << qPrintable(client->err());
    EXPECT_THAT(client->err().toStdString(), HasSubstr("Run the same command again"));
    const qint64 kept = sizeOf(m_partial);
    ASSERT_GT(kept, 0);
    expectResumed(*start(server), kept);
}

} // namespace
