#include "vesk_2_0_0/handler/file_times.h"

#include <QtCore/QDir>

#include <sys/stat.h>
#include <windows.h>

namespace VESK
{

namespace
{

constexpr std::int64_t ticksPerSecond = 10000000; // a FILETIME counts units of 100 ns
constexpr std::int64_t secondsFrom1601To1970 = 11644473600;

const wchar_t *wide(const QString &nativePath)
{
    return reinterpret_cast<const wchar_t *>(nativePath.utf16());
}

} // namespace

bool readStatus(const QString &path, FileStatus &status)
{
    struct _stat64 buffer;
    if (_wstat64(wide(QDir::toNativeSeparators(path)), &buffer) != 0)
        return false;
    status.size = buffer.st_size;
    status.mtime = buffer.st_mtime;
    return true;
}

bool writeModificationTime(const QString &path, std::int64_t mtime)
{
    constexpr std::int64_t latest = INT64_MAX / ticksPerSecond - secondsFrom1601To1970;
    if (mtime < -secondsFrom1601To1970 || mtime > latest)
        return false;
    const HANDLE file = CreateFileW(wide(QDir::toNativeSeparators(path)), FILE_WRITE_ATTRIBUTES,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    ULARGE_INTEGER ticks;
    ticks.QuadPart = static_cast<ULONGLONG>((mtime + secondsFrom1601To1970) * ticksPerSecond);
    const FILETIME time{ticks.LowPart, ticks.HighPart};
    const bool set = SetFileTime(file, nullptr, nullptr, &time) != 0; // null: that time stays as it is
    CloseHandle(file);
    return set;
}

} // namespace VESK
