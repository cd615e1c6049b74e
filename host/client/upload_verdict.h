#pragma once

#include "host/client/upload_task.h"

namespace VESK::Host
{

/// What is known of an upload when its handler is done.
struct TaskFacts {
    bool succeeded = false; ///< what `process` returned
    bool interrupted = false; ///< a signal came
    bool connectionIsUp = false;
    QString gaveUpBecause; ///< the monitor's words; empty when it did not give up
    QString lastError; ///< the handler's
    QString lastLogError; ///< last line of level "error", without the operation's name
    QString begin; ///< transferBeginSize, empty when not reached
    QString end; ///< transferEndSize, empty when not reached
    CounterReading reading; ///< when it ended, or was stopped
};

/// The outcome that these facts amount to.
UploadOutcome judge(const TaskFacts &facts);

} // namespace VESK::Host
