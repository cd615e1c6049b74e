#pragma once

#include "tests/support/background.h"
#include "tests/support/log_recorder.h"
#include "tests/support/qt_printers.h"
#include "tests/support/scripted_peer.h"
#include "tests/support/temp_dir.h"
#include "tests/support/udt_pair.h"

#include "vesk_2_0_0/handler/vesk_handler_2_0_0.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace VESK::Test
{

/// How long a test waits for something that ought to happen at once.
constexpr std::chrono::seconds patience(15);

/// How long a task may take to end after a pause or cancel.
constexpr std::chrono::seconds stopLimit(1);

/// Waits until `condition` holds, `patience` at most; false when it never did.
bool eventually(const std::function<bool()> &condition);

/// A handler's `process` on a thread of its own. A test that gives up early leaves the scope: then both
/// sockets are closed, so that the task ends.
class RunningTask
{
public:
    RunningTask(VeskBase &handler, UdtPair &pair, std::function<void()> atStart = {});
    ~RunningTask();
    RunningTask(const RunningTask &) = delete;
    RunningTask &operator=(const RunningTask &) = delete;

    /// What `process` returned, or nothing when it still runs after `limit`.
    std::optional<bool> result(std::chrono::milliseconds limit = patience) const;

private:
    UdtPair &m_pair;
    const Background<std::function<bool()>> m_background;
};

/// One handler on one end of a connection, a scripted peer on the other, a directory, the log.
class OperationTest : public testing::Test
{
protected:
    /// `endPoint` is the part that the handler plays; `peer` plays the other one.
    explicit OperationTest(const QString &endPoint);
    ~OperationTest() override;

    VeskHandler2_0_0 &handler() const { return *m_handler; }
    QString param(const QString &key) const { return m_handler->getParam(key, "absent"); }
    void set(const QString &key, const QString &value) const;

    /// Puts another handler (of a derived class, say) in the place of the present one, with the same
    /// parameters. Returns it.
    template <typename Handler, typename... Arguments>
    Handler &useHandler(Arguments &&...arguments)
    {
        auto next = std::make_unique<Handler>(std::forward<Arguments>(arguments)...);
        Handler &handler = *next;
        replaceHandler(std::move(next));
        return handler;
    }

    /// Starts `process`.
    RunningTask start() { return RunningTask(*m_handler, pair); }
    /// The same with the file permissions of a user who is not root.
    RunningTask startAsOrdinaryUser();

    /// The lines of the handler so far, each "level|message".
    QStringList logged() const { return log.lines(m_handler.get()); }

    /// Closes the end of the handler or the peer.
    void closeHandlerSocket();
    void closePeerSocket();
    UDTSOCKET handlerSocket() const;

    const LogRecorder log;
    const TempDir dir;
    UdtPair pair;

private:
    void replaceHandler(std::unique_ptr<VeskHandler2_0_0> next);

    const bool m_isServer;
    std::unique_ptr<VeskHandler2_0_0> m_handler;

protected:
    ScriptedPeer peer;
};

/// A client's handler with all parameters of a task set; local files are in `dir`/local. The peer is the
/// server.
class ClientTest : public OperationTest
{
protected:
    explicit ClientTest(const QString &operation);

    std::int64_t total = untouched;
    std::int64_t done = untouched;

    static constexpr std::int64_t untouched = -7; // what the counters hold before a task writes them
};

/// A server's handler with the parameters that its host sets; the application "app" is stored in
/// `dir`/mount/area. The peer is the client.
class ServerTest : public OperationTest
{
protected:
    ServerTest();

    /// What every client says about a task.
    static ParamMap taskParam(const QString &operation);

    /// Where `name` of the task's root directory is, relative to `dir`, and absolute.
    static QString stored(const QString &name) { return "mount/area/root/" + name; }
    QString storedPath(const QString &name) const { return dir.path(stored(name)); }
};

} // namespace VESK::Test
