#pragma once

#include "host/client/task_job.h"
#include "host/errors.h"

namespace VESK::Host
{

/// A task that was refused, could not be verified, or met a file that cannot be read or written, told to a
/// person.
Failure taskFailure(const TaskJob &job, const TaskOutcome &outcome);

/// A transfer that is not made since there is a file of that name, and `--existing fail` says so.
Failure existsFailure(const TaskJob &job);

/// A file that cannot be read or written; `why` may be empty. Both escaped already.
Failure localFileFailure(const QString &path, const QString &why);

/// A server that ended the connection `times` times in a row without a byte of progress.
Failure cutOffFailure(const TaskJob &job, int times);

/// A connection that was lost too often. `movedBytes`: what this run got across of the file.
Failure lostFailure(const TaskJob &job, qint64 movedBytes);

/// A listing that was lost when part of it had been given out.
Failure brokenListingFailure(const TaskJob &job);

/// The warning, a whole line, before a file is moved again from its start.
QString verifyWarning(const TaskJob &job);

} // namespace VESK::Host
