#pragma once

#include <QtCore/QString>

#include <cstdint>

namespace VESK
{

/// What a server knows when a client offers a file.
struct UploadFacts {
    bool targetExists;
    bool replace; ///< the client asked for replacement; counts only with verification off
    QString verifyMode; ///< "false" is off
    QString clientValue; ///< verification value of the client's file
    QString targetValue; ///< the same of the existing target; empty with verification off
    std::int64_t clientTime; ///< modification time in seconds since 1970; -1 is unknown
    std::int64_t targetTime; ///< the same of the existing target
};

/// Must the file's data be sent?
bool needsUpload(const UploadFacts &facts);

} // namespace VESK
