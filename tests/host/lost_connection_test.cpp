#include "tests/host/client_test.h"
#include "tests/host/crowded_server.h"
#include "tests/host/exit_status.h"
#include "tests/host/scripted_server.h"
#include "tests/support/soon.h"

#include "host/error_type.h"

#include <gmock/gmock.h>

#include <future>
#include <mutex>

// One of a client's connections is lost, and the server takes no other one.

using namespace VESK;
using namespace VESK::Test;
using testing::HasSubstr;
using testing::Not;

namespace
{

class LostConnectionTest : public ClientTest
{
protected:
    void SetUp() override
    {
        for (const char *const name : {"f0", "f1", "f2", "f3"})
            ASSERT_TRUE(m_directory.write(QString::fromLatin1(name), pattern(100)));
    }

    // All files over two connections, with few retries that follow soon.
    int put(const QStringList &more)
    {
        QStringList arguments = {QStringLiteral("put"), QStringLiteral("--json"), QStringLiteral("-j2"),
                                 QStringLiteral("--retry-wait"), QStringLiteral("0.1")};
        for (const char *const name : {"f0", "f1", "f2", "f3"})
            arguments << m_directory.path(QString::fromLatin1(name));
        return run(arguments + more + QStringList{ScriptedServer::url(QStringLiteral("s"))});
    }

    // Says that it has the file already; false when the client has said farewell.
    bool answerTask(ScriptedPeer &peer)
    {
        const std::optional<ParamMap> task = peer.recvMap(MessageKind::TaskParam);
        if (!task || task->value(QStringLiteral("operator")) != QLatin1String("upload"))
            return false;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_answered << task->value(QStringLiteral("fileName"));
        }
        EXPECT_TRUE(peer.sendMap(MessageKind::TaskParamAck,
                                 {{QStringLiteral("ackRespond"), QStringLiteral("true")},
                                  {QStringLiteral("bTransfer"), QStringLiteral("false")},
                                  {QStringLiteral("offset"), QStringLiteral("100")}}));
        return true;
    }

    // The names of the files that the server has said it has, in order.
    QStringList answered()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_answered.sort();
        return m_answered;
    }

    // The first connection, whose first task is answered only when `go` is there.
    CrowdedServer::Script staying(std::shared_future<void> go)
    {
        return [this, go](ScriptedPeer &peer) {
            EXPECT_EQ(go.wait_for(soon), std::future_status::ready);
            while (answerTask(peer))
                continue;
        };
    }

    // The second one, which ends in its first task.
    static CrowdedServer::Script ending(std::promise<void> &ended)
    {
        return [&ended](ScriptedPeer &peer) {
            EXPECT_TRUE(peer.recvMap(MessageKind::TaskParam));
            (void)UDT::close(peer.socket());
            ended.set_value();
        };
    }

    std::mutex m_mutex; // guards the next
    QStringList m_answered; // files
};

TEST_F(LostConnectionTest, ItsTaskIsDoneByTheOtherConnection)
{
    std::promise<void> ended;
    const CrowdedServer server({staying(ended.get_future().share()), ending(ended)});
    EXPECT_EQ(put({QStringLiteral("--retries"), QStringLiteral("2")}), 0) << m_err;
    EXPECT_EQ(answered(), (QStringList{"f0", "f1", "f2", "f3"}));
    EXPECT_EQ(counted("alreadyThere"), 4);
    EXPECT_THAT(m_err, HasSubstr("the connection was lost (recv"));
}

TEST_F(LostConnectionTest, ATaskWithoutRetriesFailsAndTheOthersAreDone)
{
    std::promise<void> ended;
    const CrowdedServer server({staying(ended.get_future().share()), ending(ended)});
    EXPECT_EQ(put({QStringLiteral("--retries"), QStringLiteral("0")}), 1) << m_err;
    EXPECT_EQ(answered().size(), 3);
    EXPECT_EQ(counted("failed"), 1);
    EXPECT_THAT(m_err, HasSubstr("the connection was lost and could not be made again"));
}

TEST_F(LostConnectionTest, TheLastConnectionIsAskedForUntilTheRetriesAreUsedUp)
{
    std::promise<void> ended;
    const CrowdedServer server({ending(ended)});
    EXPECT_EQ(put({QStringLiteral("--retries"), QStringLiteral("2")}), ExitStatus::refused) << m_err;
    EXPECT_GE(server.refusals(), 2) << m_err; // a second connection may have been begun before the loss
}

TEST_F(LostConnectionTest, IsNotToldOfWhenOnlyErrorsAreWanted)
{
    std::promise<void> ended;
    const CrowdedServer server({staying(ended.get_future().share()), ending(ended)});
    EXPECT_EQ(put({QStringLiteral("-q")}), 0);
    EXPECT_EQ(m_err, "");
}

TEST_F(LostConnectionTest, AServerThatTurnsAwayDuringTheHashingIsUnderstood)
{
    // Long enough to be read that the server has closed the connection before the task is described.
    QFile large(m_directory.path(QStringLiteral("large")));
    ASSERT_TRUE(large.open(QIODevice::WriteOnly) && large.resize(512 << 20));
    int task = 0;
    const auto script = [&](ScriptedPeer &peer) {
        if (++task > 1) {
            EXPECT_TRUE(answerTask(peer));
            return;
        }
        EXPECT_TRUE(peer.sendMap(MessageKind::TaskParamAck,
                                 {{QStringLiteral("ackRespond"), QStringLiteral("false")},
                                  {QStringLiteral("errorType"), Host::ErrorType::tooManyConnections()}}));
    };
    const ScriptedServer server(script, 2);
    Program client({QStringLiteral("put"), QStringLiteral("--retry-wait"), QStringLiteral("0.1"),
                    QStringLiteral("--verify"), QStringLiteral("sha256"), large.fileName(),
                    ScriptedServer::url(QStringLiteral("s"))});
    EXPECT_EQ(client.waitForEnd(), 0) << qPrintable(client.err());
    EXPECT_THAT(client.err().toStdString(),
                HasSubstr("the server takes no further connection. Trying again"));
    EXPECT_THAT(client.err().toStdString(), Not(HasSubstr("was lost")));
}

} // namespace
