#include "vesk_base/file_state.h"

#include <QtCore/QDir>

#include <windows.h>

namespace VESK
{

namespace
{

constexpr qint64 nanosecondsPerTick = 100; // a FILETIME counts units of 100 ns
constexpr qint64 ticksFrom1601To1970 = 116444736000000000;

qint64 nanoseconds(qint64 ticks)
{
    return (ticks - ticksFrom1601To1970) * nanosecondsPerTick;
}

constexpr quint64 joined(DWORD high, DWORD low)
{
    return static_cast<quint64>(high) << 32 | low;
}

} // namespace

std::optional<FileState> readFileState(const QString &path)
{
    if (path.contains(QChar(0))) // the system would read the path only so far
        return std::nullopt;
    const QString native = QDir::toNativeSeparators(path);
    const HANDLE file = CreateFileW(reinterpret_cast<const wchar_t *>(native.utf16()), FILE_READ_ATTRIBUTES,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return std::nullopt;
    BY_HANDLE_FILE_INFORMATION identity;
    FILE_BASIC_INFO times;
    const bool isKnown = GetFileType(file) == FILE_TYPE_DISK
        && GetFileInformationByHandle(file, &identity) != 0
        && GetFileInformationByHandleEx(file, FileBasicInfo, &times, sizeof times) != 0;
    CloseHandle(file);
    if (!isKnown || (identity.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        return std::nullopt;
    FileState state;
    state.device = identity.dwVolumeSerialNumber;
    state.inode = joined(identity.nFileIndexHigh, identity.nFileIndexLow);
    state.size = static_cast<qint64>(joined(identity.nFileSizeHigh, identity.nFileSizeLow));
    state.mtimeNs = nanoseconds(times.LastWriteTime.QuadPart);
    state.ctimeNs = nanoseconds(times.ChangeTime.QuadPart);
    return state;
}

qint64 fileClockNs()
{
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return nanoseconds(static_cast<qint64>(joined(now.dwHighDateTime, now.dwLowDateTime)));
}

} // namespace VESK
