#pragma once

#include "host/client/interruption.h"
#include "host/client/task_monitor.h"
#include "host/connection/udt_socket.h"

#include "vesk_base/module.h"

#include <QtCore/QString>

namespace VESK::Host
{

/// One file and where it goes.
struct UploadJob {
    QString directory; ///< local, absolute
    QString fileName;
    QString share;
    QString remoteDirectory; ///< below the share; may be empty
    QString userName;
    QString verifyMode; ///< as the handler takes it: "xxh128", "sha256", "fileattr", "false"

    QString localPath() const { return directory + QLatin1Char('/') + fileName; }
};

/// How one run of a task ended.
struct UploadOutcome {
    enum class Result {
        Placed, ///< the file is in place on the server
        AlreadyThere, ///< the server had it; nothing was sent
        Refused, ///< the server said no; `errorType` says why
        VerifyFailed, ///< what arrived is not what was announced; the server dropped it
        LocalFile, ///< the file could not be read here
        ServerCannotWrite, ///< the server could not store the bytes
        Lost, ///< the connection broke or was given up
        Interrupted, ///< by a signal
    };
    Result result = Result::Lost;
    QString errorType; ///< of a refusal
    QString detail; ///< the handler's or the monitor's own words; may be empty
    qint64 total = -1; ///< size of the file, bytes; -1 when the task did not get so far
    qint64 begin = -1; ///< where sending began; -1 when it did not
    qint64 moved = 0; ///< bytes that went to the server in this run
    bool connectionIsUsable = false; ///< for a next task
};

/// Runs one upload on the calling thread, over a connected socket that stays the caller's (a stop closes
/// it, though).
class UploadTask
{
public:
    UploadTask(const Module &module, ProgressDisplay &display, Interruption &interruption,
               double stallSeconds);

    UploadOutcome run(const UploadJob &job, UDTSOCKET socket);

private:
    const Module &m_module;
    ProgressDisplay &m_display;
    Interruption &m_interruption;
    const double m_stallSeconds;
};

} // namespace VESK::Host
