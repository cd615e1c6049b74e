#pragma once

#include "tests/operation/support/operation_test.h"

#include <optional>
#include <vector>

namespace VESK::Test
{

/// What a task left behind in its handler.
struct Outcome {
    bool succeeded;
    QString lastError;
    ParamMap params;
};

/// A server that answers one task after another on a connection, each with a handler of its own, until a
/// client ends the exchange or leaves. Runs on a thread of its own.
class ServerLoop
{
public:
    /// `params` are set for every task. `storage` is the mount path; the application is "app".
    ServerLoop(UDTSOCKET socket, const ParamMap &params)
        : m_params(params)
        , m_running([this, socket] { run(socket); })
    {
    }

    /// The outcomes of all tasks, when the loop has ended; nothing when it does not end.
    std::optional<std::vector<Outcome>> outcomes() const
    {
        if (!m_running.wait(patience))
            return std::nullopt;
        return m_outcomes;
    }

private:
    void run(UDTSOCKET socket)
    {
        for (;;) {
            VeskHandler2_0_0 handler;
            handler.setParams(m_params);
            handler.setParam("endPoint", "server");
            handler.setParam("serverSocket", QString::number(socket));
            const bool succeeded = handler.process();
            Outcome outcome{succeeded, handler.getLastError(), {}};
            handler.getParams(outcome.params);
            m_outcomes.push_back(outcome);
            if (outcome.params.value("operator").isEmpty() || outcome.lastError == "return")
                return;
        }
    }

    const ParamMap m_params;
    std::vector<Outcome> m_outcomes; // of the loop's thread until it has ended
    const Background<std::function<void()>> m_running;
};

/// Real handlers on both ends of a connection. Local files are in `dir`/local, those of the server's
/// application in `dir`/mount/area.
class TransferPairTest : public testing::Test
{
protected:
    ~TransferPairTest() override
    {
        pair.closeClient(); // ends the loop
        pair.closeServer();
    }

    ParamMap serverParams() const
    {
        return {
            {"mountPath", dir.path("mount")}, {"appPath", "app:area"}, {"fileMod", "644"}, {"dirMod", "755"}};
    }

    void startServer() { m_server.emplace(pair.server(), serverParams()); }

    /// Ends the exchange; what the server's tasks left behind.
    std::vector<Outcome> endExchange()
    {
        ScriptedPeer client(pair.client(), "client");
        EXPECT_TRUE(client.sendMap(MessageKind::TaskParam, {{"operator", "return"}}));
        const auto outcomes = m_server->outcomes();
        EXPECT_TRUE(outcomes) << "the server's loop does not end";
        return outcomes.value_or(std::vector<Outcome>());
    }

    /// One task of the client. `watcher`, if given, has the handler before the task begins.
    Outcome run(const QString &operation, const ParamMap &params,
                const std::function<void(VeskBase &)> &watcher = {})
    {
        total = -7;
        done = -7;
        VeskHandler2_0_0 handler;
        QObject::connect(&handler, &VeskBase::sigList, [this](const ParamMap &batch) {
            for (auto entry = batch.cbegin(); entry != batch.cend(); ++entry)
                listed.insert(entry.key(), entry.value());
        });
        const ParamMap common{{"endPoint", "client"},
                              {"clientSocket", QString::number(pair.client())},
                              {"operator", operation},
                              {"rootPath", "root"},
                              {"appKey", "app"},
                              {"bVerify", "false"},
                              {"total", QString::number(reinterpret_cast<std::uintptr_t>(&total))},
                              {"offset", QString::number(reinterpret_cast<std::uintptr_t>(&done))}};
        EXPECT_TRUE(handler.setParams(common));
        EXPECT_TRUE(handler.setParams(params));
        if (watcher)
            watcher(handler);
        Outcome outcome{handler.process(), handler.getLastError(), {}};
        handler.getParams(outcome.params);
        return outcome;
    }

    /// Downloads `dir`/mount/area/root/box/`name` to `dir`/local/`name`.
    Outcome download(const QString &name, const ParamMap &changes = {})
    {
        ParamMap params{{"srcPath", "box"}, {"destPath", dir.path("local")}, {"fileName", name}};
        for (auto change = changes.cbegin(); change != changes.cend(); ++change)
            params.insert(change.key(), change.value());
        return run("download", params);
    }

    static QString remote(const QString &name) { return "mount/area/root/box/" + name; }
    static QString local(const QString &name) { return "local/" + name; }

    const LogRecorder log;
    const TempDir dir;
    UdtPair pair;
    std::int64_t total = 0;
    std::int64_t done = 0;
    ParamMap listed;

private:
    std::optional<ServerLoop> m_server;
};

} // namespace VESK::Test
