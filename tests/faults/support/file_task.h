#pragma once

#include "tests/listing/support/staged_handler.h"
#include "tests/support/log_recorder.h"
#include "tests/support/temp_dir.h"

#include <udt/udt.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace VESK::Test
{

/// A handler with two more stages for a test to step in, on the task thread.
class FaultyHandler : public StagedHandler
{
public:
    std::function<void()> beforeBulk; ///< its file is open, no byte has moved
    std::function<void()> afterBulk; ///< all has moved, or the transfer has failed; the file is still open

    bool setParam(const QString &key, const QString &value) override;
};

enum class Direction { Upload, Download };

/// Moves one file between two real handlers, each on a thread of its own: "file.bin" of `dir`/local to or
/// from `dir`/mount/area/root/in. All settings are made before `run`.
class FileTask
{
public:
    FileTask(const TempDir &dir, Direction direction, const QString &verifyMode);

    FaultyHandler &sender() { return m_isUpload ? client : server; }
    FaultyHandler &receiver() { return m_isUpload ? server : client; }

    /// Relative to the directory.
    QString source() const;
    QString target() const;
    /// Of the target's directory, too.
    QString targetDirectory() const;
    QString temporary() const;

    /// Calls `fault` on the thread of `handler`, one of the two, when the server has answered.
    static void atAnswer(FaultyHandler &handler, const std::function<void()> &fault);

    /// The text of the last error line of `handler`, one of the two; empty when there is none.
    static QString lastError(const LogRecorder &log, const FaultyHandler &handler);

    /// Runs both ends on the given connected sockets until both have ended. Like a host, closes the socket
    /// of an end whose task failed, and 0.1 s later the other one, too: the word of a close may get
    /// lost. False when a task does not end within half a minute of that.
    [[nodiscard]] bool run(UDTSOCKET clientSocket, UDTSOCKET serverSocket);

    /// What `process` returned.
    bool sent() const { return m_isUpload ? m_clientResult : m_serverResult; }
    bool received() const { return m_isUpload ? m_serverResult : m_clientResult; }

    /// The receiver's thread has the file permissions of an ordinary user.
    void receiveAsOrdinaryUser() { m_ordinaryReceiver = true; }
    void sendAsOrdinaryUser() { m_ordinarySender = true; }

    /// The longest `run` waits for two tasks that go on; 30 s.
    std::chrono::seconds limit{30};

    FaultyHandler client;
    FaultyHandler server;

private:
    void configure(UDTSOCKET clientSocket, UDTSOCKET serverSocket);
    std::function<bool()> endOf(FaultyHandler &handler, bool isOrdinary);

    const TempDir &m_dir;
    const bool m_isUpload;
    const QString m_verifyMode;
    bool m_ordinaryReceiver = false;
    bool m_ordinarySender = false;
    bool m_clientResult = false;
    bool m_serverResult = false;
    std::int64_t m_total = 0;
    std::int64_t m_done = 0;
};

/// Both directions with and without verification, for tests with parameters.
struct Transfer {
    Direction direction;
    const char *verifyMode;
};

/// The four of them.
const std::vector<Transfer> &allTransfers();

std::ostream &operator<<(std::ostream &out, const Transfer &transfer);

/// For test names, as in "UploadVerified".
std::string transferName(const Transfer &transfer);

} // namespace VESK::Test
