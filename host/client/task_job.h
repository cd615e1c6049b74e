#pragma once

#include "host/address.h"

#include "vesk_base/param_map.h"

#include <QtCore/QString>
#include <QtCore/QtGlobal>

#include <functional>

namespace VESK::Host
{

enum class Operation { Upload, Download, List, CreateDir };

/// One task for a server.
struct TaskJob {
    Operation operation = Operation::Upload;
    QString shownName; ///< for people, escaped
    QString share;
    QString rootPath; ///< below the share, as named on the command line; no modes are set above it
    QString subPath; ///< directory below that; may be empty
    QString userName;

    // Transfers.
    QString localDirectory; ///< absolute
    QString fileName;
    qint64 size = -1; ///< bytes, as far as it is known before the task; -1: it is not
    QString verifyMode; ///< as the handler takes it: "xxh128", "sha256", "fileattr", "false"

    qint64 rateLimit = 0; ///< bytes per second; 0: none
    bool keepsExisting = false; ///< uploads: the server refuses when there is a file of that name

    /// Listings: takes the next batch, relative path to "file" or "dir". False ends the task. Called on
    /// the thread that runs it.
    std::function<bool(const ParamMap &)> takeBatch;
    /// Listings: called before another attempt, to forget what was taken. False when that is not possible,
    /// so that there can be no other attempt.
    std::function<bool()> mayRepeat;

    QString localPath() const { return localDirectory + QLatin1Char('/') + fileName; }
    bool movesFile() const { return operation == Operation::Upload || operation == Operation::Download; }
};

/// A listing of what is below a place on a server, told to nobody yet.
TaskJob listingOf(const RemoteAddress &place);

/// How one run of a task ended.
struct TaskOutcome {
    enum class Result {
        Done, ///< the file is in place; the directory is there; the listing is complete
        AlreadyThere, ///< the receiver had the file; nothing was moved
        Kept, ///< a file of that name is there, and is to be left alone
        Refused, ///< the server said no; `errorType` says why
        VerifyFailed, ///< what arrived is not what was announced; the receiver dropped it
        LocalFile, ///< a file could not be read or written here
        ServerFile, ///< the server could not store or read the bytes
        Stopped, ///< by what takes the listing
        Lost, ///< the connection broke or was given up
        Interrupted, ///< by a signal
    };
    Result result = Result::Lost;
    QString errorType; ///< of a refusal
    QString detail; ///< the handler's or the monitor's own words; may be empty
    qint64 total = -1; ///< size of the file, bytes; -1 when the task did not get so far
    qint64 begin = -1; ///< where moving began; -1 when it did not
    qint64 moved = 0; ///< bytes that went over the line in this run
    bool connectionIsUsable = false; ///< for a next task
};

} // namespace VESK::Host
