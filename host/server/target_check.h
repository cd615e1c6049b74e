#pragma once

#include "vesk_base/param_map.h"

#include "host/server/share.h"

#include <QtCore/QString>

namespace VESK::Host
{

/// Where an upload goes and what stands there already.
struct UploadTarget {
    QString base; ///< topmost directory whose mode is set
    QString directory; ///< the target's directory; need not exist
    QString path; ///< the target itself
    qint64 fileSize = -1; ///< bytes, as the client says
};

/// Resolves an upload's parameters in the same way as the handler does.
UploadTarget uploadTarget(const Share &share, const ParamMap &taskParam);

/// BadRequest or NameTooLong for a target whose name is none, or that of a partial copy; empty otherwise.
QString findBadName(const UploadTarget &target);

/// The error type of what would make this upload fail after it was accepted, when the client could only
/// be cut off: a bad name, a directory that cannot be made, written to or given its mode, too little
/// space. Empty when nothing speaks against it.
QString findObstacle(const Share &share, const UploadTarget &target);

/// The same for the creation of a directory.
QString findCreateDirObstacle(const Share &share, const ParamMap &taskParam);

} // namespace VESK::Host
