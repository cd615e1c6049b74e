#pragma once

#include "host/client/task_job.h"
#include "host/errors.h"

namespace VESK::Host
{

/// What sessions have tried of a task so far; it goes with the task from one to the next.
struct TaskAttempts {
    int failures = 0; ///< lost connections since bytes last moved
    int withoutProgress = 0; ///< runs in a row that moved nothing though the server was reached
    bool verifyFailed = false; ///< once already
    qint64 firstBegin = -1; ///< where the first run began; -1 before one did
    qint64 movedBytes = 0; ///< by all runs
};

/// How a task ended for good, all attempts taken together, or that it did not end in this session.
struct TaskEnd {
    enum class Kind {
        Succeeded,
        Failed,
        Interrupted,
        NotTaken, ///< no end: this session gets no connection and has resigned; another one is to take the
                  ///< task
        Deferred, ///< no end: to be tried again in `againInSeconds`, by any session
    };
    Kind kind = Kind::Interrupted;
    TaskOutcome outcome; ///< of the last attempt
    Failure failure; ///< when it failed
    qint64 movedBytes = 0; ///< by all attempts
    qint64 resumedBytes = 0; ///< what earlier runs had left where the first attempt began
    bool serverIsAway = false; ///< it failed since the server could not be reached; others need not try
    double againInSeconds = 0; ///< of a deferred task
};

} // namespace VESK::Host
