#include "tests/faults/support/fault_test.h"
#include "tests/operation/support/operation_test.h"
#include "tests/support/udt_ports.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QProcess>

#include <arpa/inet.h>

#include <algorithm>
#include <random>

// kill -9 of one end at random moments, then a task that goes on: what is in place in the end is what was
// sent.
//
// 20 rounds; VESK_KILL_ROUNDS says how many otherwise, VESK_KILL_SEED another seed than 1.

using namespace VESK;
using namespace VESK::Test;

namespace
{

int numberFrom(const char *variable, int otherwise)
{
    const QByteArray text = qgetenv(variable);
    return text.isEmpty() ? otherwise : text.toInt();
}

/// One end of a task, run as a child process; killed with the object if it still runs.
class TaskProcess
{
public:
    TaskProcess(const QString &endPoint, const ParamMap &params)
    {
        QStringList arguments{endPoint};
        if (endPoint == "client") {
            const auto *const address = reinterpret_cast<const sockaddr_in *>(listenerAddress());
            arguments << QString::number(ntohs(address->sin_port));
        }
        for (auto entry = params.cbegin(); entry != params.cend(); ++entry)
            arguments << entry.key() + '=' + entry.value();
        m_process.start(VESK_TASK_PROCESS, arguments);
    }

    ~TaskProcess() { kill(); }
    TaskProcess(const TaskProcess &) = delete;
    TaskProcess &operator=(const TaskProcess &) = delete;

    /// Its next line; empty when none comes.
    QString line()
    {
        while (!m_process.canReadLine())
            if (!m_process.waitForReadyRead(static_cast<int>(limitMs)))
                return QString();
        return QString::fromLatin1(m_process.readLine()).trimmed();
    }

    void kill()
    {
        m_process.kill();
        (void)m_process.waitForFinished(); // nothing survives it
    }

    /// Waits for its end. Did the task succeed?
    bool succeeds()
    {
        return (m_process.state() == QProcess::NotRunning || m_process.waitForFinished(limitMs))
            && m_process.exitStatus() == QProcess::NormalExit && m_process.exitCode() == 0;
    }

private:
    static constexpr int limitMs = 30000;
    QProcess m_process;
};

/// Which end dies, and in which direction the file goes.
struct Killed {
    const char *endPoint;
    Direction direction;
};

std::ostream &operator<<(std::ostream &out, const Killed &killed)
{
    return out << killed.endPoint << (killed.direction == Direction::Upload ? ", upload" : ", download");
}

class Kill : public testing::TestWithParam<Killed>
{
protected:
    bool isUpload() const { return GetParam().direction == Direction::Upload; }
    bool killsClient() const { return GetParam().endPoint == std::string("client"); }

    ParamMap paramsOf(const QString &endPoint) const
    {
        if (endPoint == "server")
            return {{"mountPath", dir.path("mount")},
                    {"appPath", "app:area"},
                    {"fileMod", "644"},
                    {"dirMod", "755"}};
        return {{"operator", isUpload() ? "upload" : "download"},
                {"fileName", "file.bin"},
                {isUpload() ? "srcPath" : "destPath", dir.path("local")},
                {isUpload() ? "destPath" : "srcPath", "in"},
                {"rootPath", "root"},
                {"appKey", "app"},
                {"bVerify", "xxh128"},
                {"bReplace", "false"}};
    }

    /// A connection to the child; the child is ready when it is there.
    UDTSOCKET connect(TaskProcess &child) const
    {
        if (killsClient())
            return child.line() == "ready" ? UDT::accept(listener(), nullptr, nullptr) : UDT::INVALID_SOCK;
        const quint16 port = child.line().section(' ', 1).toUShort();
        sockaddr_in address = *reinterpret_cast<const sockaddr_in *>(listenerAddress());
        address.sin_port = htons(port);
        const UDTSOCKET socket = newConnection(reinterpret_cast<const sockaddr *>(&address));
        return socket != UDT::INVALID_SOCK && child.line() == "ready" ? socket : UDT::INVALID_SOCK;
    }

    /// Runs one task and kills the child's end `moment` after its begin, or never when that is below 0. True
    /// when both ends succeeded.
    bool attempt(std::chrono::milliseconds moment)
    {
        const QString childsEnd = GetParam().endPoint;
        const QString ownEnd = killsClient() ? "server" : "client";
        TaskProcess child(childsEnd, paramsOf(childsEnd));
        const UDTSOCKET socket = connect(child);
        EXPECT_NE(socket, UDT::INVALID_SOCK);
        std::int64_t total = 0;
        std::int64_t done = 0;
        VeskHandler2_0_0 handler;
        handler.setParams(paramsOf(ownEnd));
        handler.setParams({{"endPoint", ownEnd},
                           {ownEnd + "Socket", QString::number(socket)},
                           {"total", QString::number(reinterpret_cast<std::uintptr_t>(&total))},
                           {"offset", QString::number(reinterpret_cast<std::uintptr_t>(&done))}});

        QElapsedTimer timer;
        timer.start();
        const Background task([&] { return handler.process(); });
        if (moment.count() >= 0) {
            (void)task.wait(moment);
            child.kill();
            UDT::close(socket); // as a host does that notices a silent peer
        }
        const bool succeeded = task.wait(std::chrono::seconds(30)) == true;
        m_taskMs = timer.elapsed();
        if (moment.count() < 0 && !succeeded)
            child.kill();
        const bool childSucceeded = child.succeeds();
        UDT::close(socket);
        return succeeded && childSucceeded;
    }

    void removeTarget()
    {
        const FileTask task(dir, GetParam().direction, "");
        QFile::remove(dir.path(task.target()));
        QFile::remove(dir.path(task.temporary()));
    }

    const LogRecorder log;
    const TempDir dir;
    qint64 m_taskMs = 0; // how long the last task took, without the start of the child
};

TEST_P(Kill, AtAnyMomentTheNextTaskGoesOnToTheWholeFile)
{
    constexpr int size = 24 << 20; // bytes; long enough to be killed in the middle
    const FileTask names(dir, GetParam().direction, "");
    std::mt19937 random(static_cast<std::uint32_t>(numberFrom("VESK_KILL_SEED", 1)));
    const int rounds = std::max(1, numberFrom("VESK_KILL_ROUNDS", 20) / 4); // four tests share them

    ASSERT_TRUE(dir.write(names.source(), pattern(size, 0)));
    ASSERT_TRUE(attempt(std::chrono::milliseconds(-1)));
    qint64 longest = m_taskMs + 1;

    int cut = 0; // rounds that left a partial file
    // Where the load changes, all rounds may miss: more follow until a kill has fallen into a transfer.
    for (int round = 1; round <= rounds || (cut == 0 && round <= 10 * rounds); ++round) {
        SCOPED_TRACE(testing::Message() << "round " << round);
        const QByteArray content = pattern(size, static_cast<quint64>(round));
        ASSERT_TRUE(dir.write(names.source(), content));
        removeTarget();
        for (unsigned int kills = 1 + random() % 2; kills > 0; --kills) {
            if (attempt(std::chrono::milliseconds(random() % longest)))
                longest = std::max<qint64>(longest * 3 / 4, 2); // both were done before; tasks are faster now
        }
        const bool isPartial = dir.exists(names.temporary());
        ASSERT_TRUE(!isPartial || content.startsWith(dir.read(names.temporary())));
        cut += isPartial ? 1 : 0;
        ASSERT_TRUE(attempt(std::chrono::milliseconds(-1))) << log.lines().join('\n').toStdString();
        ASSERT_TRUE(dir.read(names.target()) == content);
        ASSERT_FALSE(dir.exists(names.temporary()));
    }
    EXPECT_GT(cut, 0) << "no kill fell into a transfer";
}

/// The other process receives.
class TwoProcesses : public Kill
{
};

TEST_P(TwoProcesses, APathThatTheOtherReceivesIsNotTouched)
{
    const FileTask names(dir, GetParam().direction, "");
    const QByteArray content = pattern(24 << 20);
    ASSERT_TRUE(dir.write(names.source(), content));
    TaskProcess child(GetParam().endPoint, paramsOf(GetParam().endPoint));
    const UDTSOCKET socket = connect(child);
    ASSERT_NE(socket, UDT::INVALID_SOCK);

    // The peer of the child keeps it waiting once it receives.
    FaultyHandler peer;
    std::int64_t total = 0;
    std::int64_t done = 0;
    const QString ownEnd = killsClient() ? "server" : "client";
    peer.setParams(paramsOf(ownEnd));
    peer.setParams({{"endPoint", ownEnd},
                    {ownEnd + "Socket", QString::number(socket)},
                    {"total", QString::number(reinterpret_cast<std::uintptr_t>(&total))},
                    {"offset", QString::number(reinterpret_cast<std::uintptr_t>(&done))}});
    bool wasRefused = false;
    peer.beforeBulk = [&] {
        FileTask second(dir, GetParam().direction, "xxh128");
        UdtPair pair;
        EXPECT_TRUE(second.run(pair.client(), pair.server()));
        wasRefused = second.lastError(log, second.receiver()).contains("setParam tmpFilePath");
        EXPECT_FALSE(second.received());
    };
    EXPECT_TRUE(peer.process());
    EXPECT_TRUE(child.succeeds());
    EXPECT_TRUE(wasRefused);
    EXPECT_TRUE(dir.read(names.target()) == content);
    UDT::close(socket);
}

INSTANTIATE_TEST_SUITE_P(Ends, Kill,
                         testing::Values(Killed{"client", Direction::Upload},
                                         Killed{"client", Direction::Download},
                                         Killed{"server", Direction::Upload},
                                         Killed{"server", Direction::Download}));

INSTANTIATE_TEST_SUITE_P(Ends, TwoProcesses,
                         testing::Values(Killed{"client", Direction::Download},
                                         Killed{"server", Direction::Upload}));

} // namespace
