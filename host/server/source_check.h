#pragma once

#include "host/server/share.h"

#include "vesk_base/param_map.h"

#include <QtCore/QString>

namespace VESK::Host
{

/// The error type of what would make a download fail after it was accepted: no such file, a directory,
/// a pipe that would block the one who opens it, no permission. Empty when nothing speaks against it.
QString findDownloadObstacle(const Share &share, const ParamMap &taskParam);

/// The same for a listing.
QString findListObstacle(const Share &share, const ParamMap &taskParam);

} // namespace VESK::Host
