#include "tests/operation/support/file_limits.h"
#include "tests/races/race_task.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <iostream>
#include <random>
#include <thread>

// Stops a task from a second thread at any moment of it: at each of its calls to the base, and at any time in
// between. The moments come from a seed; VESK_RACE_ROUNDS sets the rounds of each case, VESK_RACE_SEED the
// seed. Both ends are real handlers, and a task on a new connection follows each round.

using namespace VESK;
using namespace VESK::Test;

namespace
{

using Milliseconds = std::chrono::milliseconds;
using Microseconds = std::chrono::microseconds;
using Clock = std::chrono::steady_clock;

/// A wait that begins after the stop is bounded by two seconds; the rest is for a busy machine.
constexpr std::chrono::seconds returnLimit(6);

/// How long the end that was not stopped has to notice it by itself.
constexpr Milliseconds newsLimit(200);

constexpr int defaultRounds = 19; // of each case
constexpr int largestFile = 3000000; // bytes
constexpr int smallestFile = 100000;

int fromEnvironment(const char *name, int fallback)
{
    bool ok = false;
    const int value = qEnvironmentVariableIntValue(name, &ok);
    return ok ? value : fallback;
}

const QByteArray &largestContent()
{
    static const QByteArray content = pattern(largestFile);
    return content;
}

const QByteArray &oldContent()
{
    static const QByteArray content = pattern(50000, 2);
    return content;
}

/// What is stopped, and how.
struct Scenario {
    const char *operation;
    const char *end;
    const char *word;
};

std::string nameOf(const testing::TestParamInfo<Scenario> &info)
{
    return std::string(info.param.operation) + "_" + info.param.word + "AtThe_" + info.param.end;
}

/// What a round does, drawn from the seed.
struct Round {
    QByteArray content;
    bool targetExists;
    qint64 partial; // bytes of an earlier task that are already there; 0 for none
    int releasingCall; // the call at which the clock of the stop starts
    Microseconds delay;
    bool secondStop; // a cancel right after
};

/// Both ends of one task.
struct Ends {
    explicit Ends(bool clientIsStopped, int releasingCall)
        : client(clientIsStopped ? releasingCall : RacingHandler::never)
        , server(clientIsStopped ? RacingHandler::never : releasingCall)
    {
    }

    UdtPair pair;
    RacingHandler client;
    RacingHandler server;
    QSet<QString> names;
    std::optional<bool> clientResult;
    std::optional<bool> serverResult;
};

class StopRace : public testing::TestWithParam<Scenario>
{
protected:
    StopRace()
        : m_random(static_cast<unsigned>(seed()))
        , m_task(GetParam().operation)
    {
    }

    static int seed() { return fromEnvironment("VESK_RACE_SEED", 1); }
    bool stopsClient() const { return QLatin1String(GetParam().end) == "client"; }

    qint64 draw(qint64 low, qint64 high)
    {
        return std::uniform_int_distribution<qint64>(low, high)(m_random);
    }

    /// A task that nobody stops: how many calls it makes, and how long it takes.
    void measure()
    {
        const LogRecorder log;
        m_task.prepare(largestContent());
        Ends ends(stopsClient(), 0);
        const auto begin = Clock::now();
        run(ends, [](RacingHandler &) {});
        m_duration = std::chrono::duration_cast<Microseconds>(Clock::now() - begin);
        ASSERT_TRUE(ends.clientResult == true && ends.serverResult == true);
        ASSERT_TRUE(m_task.isDone(largestContent(), ends.names));
        m_calls = stopped(ends).calls();
    }

    Round drawRound()
    {
        Round round;
        // Small files more often: they have as many moments as large ones.
        const qint64 largest = draw(smallestFile, largestFile);
        round.content = largestContent().left(static_cast<int>(draw(smallestFile, largest)));
        round.targetExists = draw(0, 2) == 0;
        round.partial = draw(0, 3) == 0 ? draw(1, round.content.size()) : 0;
        const bool atCall = draw(0, 1) == 0;
        round.releasingCall = atCall ? static_cast<int>(draw(0, m_calls)) : 1;
        round.delay = Microseconds(atCall ? draw(0, 300) : draw(0, m_duration.count()));
        round.secondStop = draw(0, 5) == 0;
        m_task.verifyMode = round.targetExists || draw(0, 2) != 0 ? "xxh128" : "false";
        return round;
    }

    void prepare(const Round &round)
    {
        m_task.prepare(round.content);
        if (!m_task.isTransfer())
            return;
        if (round.targetExists) {
            ASSERT_TRUE(m_task.dir.write(m_task.target(), oldContent()));
        }
        if (round.partial > 0) {
            ASSERT_TRUE(
                m_task.dir.write(temporaryName(), round.content.left(static_cast<int>(round.partial))));
        }
    }

    /// Runs the task; `stop` has the handler that is to be stopped.
    void run(Ends &ends, const std::function<void(RacingHandler &)> &stop)
    {
        m_task.configureClient(ends.client, ends.pair);
        m_task.configureServer(ends.server, ends.pair);
        m_task.collectNames(ends.client, ends.names);
        const RunningTask serving(ends.server, ends.pair);
        const RunningTask requesting(ends.client, ends.pair);
        const RunningTask &stoppedTask = stopsClient() ? requesting : serving;
        stop(stopped(ends));
        awaitStopped(ends, stoppedTask);
        const bool isStopped = stoppedTask.result(Milliseconds(0)) == false;
        if (isStopped)
            stopsClient() ? ends.pair.closeClient() : ends.pair.closeServer();
        // News of a closed connection may be lost: then the other end's host gives up on it. After a stop
        // that came too late the other end has its own work to end.
        if (!(stopsClient() ? serving : requesting).result(isStopped ? newsLimit : patience)) {
            ends.pair.closeClient();
            ends.pair.closeServer();
        }
        ends.clientResult = requesting.result();
        ends.serverResult = serving.result();
    }

    /// As a client's host does: once stopped, a bulk transfer needs its socket closed.
    void awaitStopped(Ends &ends, const RunningTask &task)
    {
        RacingHandler &handler = stopped(ends);
        const auto end = Clock::now() + returnLimit;
        while (!task.result(Milliseconds(2))) {
            if (stopsClient() && handler.getStream() != nullptr && !handler.getStatus().isEmpty())
                ends.pair.closeClient();
            ASSERT_LT(Clock::now(), end) << "the stopped task does not end";
        }
    }

    void stopAt(RacingHandler &handler, const Round &round) const
    {
        EXPECT_TRUE(handler.waitForCall(patience));
        std::this_thread::sleep_for(round.delay);
        EXPECT_TRUE(QLatin1String(GetParam().word) == "pause" ? handler.pause() : handler.cancel());
        if (round.secondStop) {
            EXPECT_TRUE(handler.cancel());
        }
    }

    RacingHandler &stopped(Ends &ends) const { return stopsClient() ? ends.client : ends.server; }
    RacingHandler &other(Ends &ends) const { return stopsClient() ? ends.server : ends.client; }
    QString temporaryName() const { return QDir(m_task.dir.path()).relativeFilePath(m_task.temporary()); }

    void expectConsistentResults(Ends &ends, const Round &round)
    {
        ASSERT_TRUE(ends.clientResult && ends.serverResult) << "an end did not return";
        const bool result = stopsClient() ? *ends.clientResult : *ends.serverResult;
        m_stops += result ? 0 : 1;
        m_stopsOfData += result || stopped(ends).getParam("beginTime").isEmpty() ? 0 : 1;
        const QString error = stopped(ends).getLastError();
        const QStringList words =
            round.secondStop ? QStringList{GetParam().word, "cancel"} : QStringList{GetParam().word};
        if (result)
            EXPECT_EQ(error, "");
        else
            EXPECT_TRUE(words.contains(error)) << error.toStdString();
        EXPECT_EQ(other(ends).getLastError(), "");
        EXPECT_EQ(ends.client.getStream(), nullptr);
        EXPECT_EQ(ends.server.getStream(), nullptr);
        // A client that ends well has the server's last word; a server may have been overtaken by a stop.
        if (*ends.clientResult || (m_task.operation == "upload" && *ends.serverResult)) {
            EXPECT_TRUE(m_task.isDone(round.content, ends.names));
        }
    }

    void expectWholeFiles(Ends &ends, const Round &round)
    {
        const QByteArray target = m_task.dir.read(m_task.target());
        const bool isNew = target == round.content;
        if (!isNew && round.targetExists) {
            EXPECT_EQ(target, oldContent());
        }
        if (!isNew && !round.targetExists) {
            EXPECT_FALSE(m_task.dir.exists(m_task.target())) << target.size() << " bytes";
        }

        const bool receiverStopped = m_task.receivesAt(GetParam().end);
        VeskHandler2_0_0 &receiver = m_task.receivesAt("client") ? ends.client : ends.server;
        const bool cancelled = receiverStopped && receiver.getLastError() == "cancel";
        if (cancelled && !receiver.getParam("tmpFilePath").isEmpty()) {
            EXPECT_FALSE(m_task.dir.exists(temporaryName()));
            return;
        }
        const bool begun = round.partial > 0 || !receiver.getParam("beginTime").isEmpty();
        EXPECT_EQ(m_task.dir.exists(temporaryName()), begun && !isNew);
        const QByteArray partial = m_task.dir.read(temporaryName());
        EXPECT_GE(partial.size(), isNew ? 0 : round.partial);
        EXPECT_TRUE(round.content.startsWith(partial)) << partial.size() << " bytes";
    }

    /// What was left behind hinders nobody, and a resumed file is the right one.
    void expectNextTaskSucceeds(const Round &round)
    {
        m_task.verifyMode = "xxh128";
        Ends ends(stopsClient(), RacingHandler::never);
        run(ends, [](RacingHandler &) {});
        EXPECT_EQ(ends.clientResult, true);
        EXPECT_EQ(ends.serverResult, true);
        EXPECT_TRUE(m_task.isDone(round.content, ends.names));
        EXPECT_TRUE(!m_task.isTransfer() || !m_task.dir.exists(temporaryName()));
    }

    std::mt19937 m_random;
    RaceTask m_task;
    int m_calls = 0;
    Microseconds m_duration{0};
    int m_stops = 0; // rounds in which the stop came before the end of the task
    int m_stopsOfData = 0; // and after the bulk transfer had begun
};

TEST_P(StopRace, LeavesWholeFilesAndConsistentResults)
{
    measure();
    const int rounds = fromEnvironment("VESK_RACE_ROUNDS", defaultRounds);
    // On a busy machine the stops of a short task may all come too late, but not for ever.
    const int mostRounds = rounds < defaultRounds ? rounds : 5 * rounds;
    int i = 0;
    for (; (i < rounds || (m_stops == 0 && i < mostRounds)) && !HasFailure(); ++i) {
        const Round round = drawRound();
        SCOPED_TRACE("seed " + std::to_string(seed()) + ", round " + std::to_string(i) + ": call "
                     + std::to_string(round.releasingCall) + " of " + std::to_string(m_calls) + ", and "
                     + std::to_string(round.delay.count()) + " us");
        prepare(round);
        const LogRecorder log;
        const int descriptors = openDescriptors();
        {
            Ends ends(stopsClient(), round.releasingCall);
            run(ends, [&](RacingHandler &handler) { stopAt(handler, round); });
            SCOPED_TRACE("client:\n" + log.lines(&ends.client).join('\n').toStdString() + "\nserver:\n"
                         + log.lines(&ends.server).join('\n').toStdString());
            expectConsistentResults(ends, round);
            if (m_task.isTransfer())
                expectWholeFiles(ends, round);
        }
        EXPECT_EQ(openDescriptors(), descriptors);
        expectNextTaskSucceeds(round);
    }
    EXPECT_TRUE(m_stops > 0 || rounds < defaultRounds) << "every stop came too late";
    std::cout << i << " rounds, " << m_stops << " stopped, " << m_stopsOfData
              << " of them after the first data\n";
}

INSTANTIATE_TEST_SUITE_P(
    Operations, StopRace,
    testing::Values(Scenario{"upload", "client", "pause"}, Scenario{"upload", "client", "cancel"},
                    Scenario{"upload", "server", "pause"}, Scenario{"upload", "server", "cancel"},
                    Scenario{"download", "client", "pause"}, Scenario{"download", "client", "cancel"},
                    Scenario{"download", "server", "pause"}, Scenario{"download", "server", "cancel"},
                    Scenario{"list", "client", "pause"}, Scenario{"list", "client", "cancel"},
                    Scenario{"list", "server", "pause"}, Scenario{"list", "server", "cancel"},
                    Scenario{"createDir", "client", "pause"}, Scenario{"createDir", "client", "cancel"},
                    Scenario{"createDir", "server", "pause"}, Scenario{"createDir", "server", "cancel"}),
    nameOf);

} // namespace
