#pragma once

#include <QtCore/QString>

#include <cstdint>

class QFileInfo;

namespace VESK
{

/// What a file's status tells about it.
struct FileStatus {
    std::int64_t size = 0; ///< bytes
    std::int64_t mtime = 0; ///< modification time in seconds since 1970
    bool isWholeSecond = false; ///< `mtime` is known to be all of it
};

/// Size and modification time of the file that is to be sent, through a link to the file it leads to. A
/// link that leads nowhere gives zeros.
FileStatus statusForSending(const QString &path);

/// The modification time in seconds since 1970, as both ends of a connection compute it: unsigned in 32
/// bits, so that a time before 1970 and that of a missing file are 4294967295.
std::int64_t modificationTime(const QFileInfo &info);

/// Reads the status of `path`, following links. False when there is none.
bool readStatus(const QString &path, FileStatus &status);

/// Sets the modification time in seconds since 1970; the access time stays as it is to its last digit.
bool writeModificationTime(const QString &path, std::int64_t mtime);

} // namespace VESK
