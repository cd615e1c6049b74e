#pragma once

#include "host/client/task_job.h"
#include "host/progress.h"

namespace VESK::Host
{

/// What is known of a task when its handler is done.
struct TaskFacts {
    Operation operation = Operation::Upload;
    bool succeeded = false; ///< what `process` returned
    bool interrupted = false; ///< a signal came
    bool stopped = false; ///< by what takes the listing
    bool connectionIsUp = false;
    QString gaveUpBecause; ///< the monitor's words; empty when it did not give up
    QString lastError; ///< the handler's
    QString lastLogError; ///< last line of level "error", without the operation's name
    QString partingWord; ///< errorType of what a server said that had left before it was asked; may be empty
    QString begin; ///< transferBeginSize, empty when not reached
    QString end; ///< transferEndSize, empty when not reached
    CounterReading reading; ///< when it ended, or was stopped
};

/// The outcome that these facts amount to.
TaskOutcome judge(const TaskFacts &facts);

} // namespace VESK::Host
