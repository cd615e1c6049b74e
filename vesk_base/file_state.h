#pragma once

#include "vesk_base/export.h"

#include <QtCore/QString>
#include <QtCore/QtGlobal>

#include <optional>

namespace VESK
{

/// What tells a regular file, and one state of its contents, from every other on this machine. Each change
/// of the contents sets both times to the clock's, which advances in steps; see `isSettled`.
struct FileState {
    quint64 device = 0;
    quint64 inode = 0;
    qint64 size = 0; ///< bytes
    qint64 mtimeNs = 0; ///< last change of the contents, or what somebody set it to; ns since 1970
    qint64 ctimeNs = 0; ///< last change of the contents or of any attribute; nobody can set it; ns since 1970

    bool operator==(const FileState &other) const
    {
        return device == other.device && inode == other.inode && size == other.size
            && mtimeNs == other.mtimeNs && ctimeNs == other.ctimeNs;
    }
    bool operator!=(const FileState &other) const { return !(*this == other); }
};

/// The state of the regular file that `path` leads to, without opening it where the system can tell; nothing
/// when there is none. Callable from any thread.
VESK_BASE_EXPORT std::optional<FileState> readFileState(const QString &path);

/// The clock that file times are taken from, in ns since 1970.
VESK_BASE_EXPORT qint64 fileClockNs();

/// Lies `timeNs` so far before `nowNs` that a change of the file made at `nowNs` or later is sure to set
/// another time? Clocks of file systems advance in steps of up to two seconds.
constexpr bool isSettled(qint64 timeNs, qint64 nowNs)
{
    constexpr qint64 coarsestStepNs = 2000000000;
    return timeNs < nowNs - coarsestStepNs;
}

} // namespace VESK
