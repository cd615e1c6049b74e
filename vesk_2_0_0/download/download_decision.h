#pragma once

#include <QtCore/QString>

#include <cstdint>

namespace VESK
{

/// What a server knows when a client asks for a file.
struct DownloadFacts {
    QString verifyMode; ///< "false" is off
    QString clientValue; ///< verification value of the client's existing file; empty when it has none
    QString serverValue; ///< the same of the server's file; empty with verification off
    std::int64_t clientTime; ///< modification time of the client's file in seconds since 1970; -1 when none
    std::int64_t serverTime; ///< the same of the server's file
};

/// Must the file's data be sent?
bool needsDownload(const DownloadFacts &facts);

} // namespace VESK
