#pragma once

#include "host/client/task_job.h"
#include "host/errors.h"

namespace VESK::Host
{

/// Fills in the local side of an upload. False when there is no readable regular file at `path`, with the
/// reason in `failure`.
[[nodiscard]] bool settleLocalFile(const QString &path, TaskJob *job, Failure *failure);

} // namespace VESK::Host
