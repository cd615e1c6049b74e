#pragma once

#include "host/client/upload_task.h"
#include "host/errors.h"

namespace VESK::Host
{

/// Fills in the local side of a job. False when there is no readable regular file at `path`, with the
/// reason in `failure`.
[[nodiscard]] bool settleLocalFile(const QString &path, UploadJob *job, Failure *failure);

/// A file that cannot be read; `why` may be empty. Both escaped already.
Failure unreadableFailure(const QString &path, const QString &why);

} // namespace VESK::Host
