#include "vesk_2_0_0/handler/file_times.h"

#include <QtCore/QDir>

#include <windows.h>

namespace VESK
{

namespace
{

constexpr std::int64_t ticksPerSecond = 10000000; // a FILETIME counts units of 100 ns
constexpr std::int64_t secondsFrom1601To1970 = 11644473600;

/// A file or directory, opened for its attributes only; links are followed.
class AttributeHandle
{
public:
    AttributeHandle(const QString &path, DWORD access)
        : m_handle(CreateFileW(reinterpret_cast<const wchar_t *>(QDir::toNativeSeparators(path).utf16()),
                               access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                               OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr))
    {
    }
    ~AttributeHandle()
    {
        if (isOpen())
            CloseHandle(m_handle);
    }
    AttributeHandle(const AttributeHandle &) = delete;
    AttributeHandle &operator=(const AttributeHandle &) = delete;

    bool isOpen() const { return m_handle != INVALID_HANDLE_VALUE; }
    HANDLE get() const { return m_handle; }

private:
    const HANDLE m_handle;
};

std::int64_t joined(DWORD high, DWORD low)
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(high) << 32 | low);
}

/// Seconds since 1970, rounded down.
std::int64_t secondsOf(const FILETIME &time)
{
    return joined(time.dwHighDateTime, time.dwLowDateTime) / ticksPerSecond - secondsFrom1601To1970;
}

} // namespace

bool readStatus(const QString &path, FileStatus &status)
{
    // Not by the C library's stat: not every one of them reads times beyond 32 bits.
    const AttributeHandle file(path, FILE_READ_ATTRIBUTES);
    BY_HANDLE_FILE_INFORMATION information;
    if (!file.isOpen() || GetFileInformationByHandle(file.get(), &information) == 0)
        return false;
    status.size = joined(information.nFileSizeHigh, information.nFileSizeLow);
    status.mtime = secondsOf(information.ftLastWriteTime);
    return true;
}

bool writeModificationTime(const QString &path, std::int64_t mtime)
{
    constexpr std::int64_t latest = INT64_MAX / ticksPerSecond - secondsFrom1601To1970;
    if (mtime < -secondsFrom1601To1970 || mtime > latest)
        return false;
    const AttributeHandle file(path, FILE_WRITE_ATTRIBUTES);
    if (!file.isOpen())
        return false;
    ULARGE_INTEGER ticks;
    ticks.QuadPart = static_cast<ULONGLONG>((mtime + secondsFrom1601To1970) * ticksPerSecond);
    const FILETIME time{ticks.LowPart, ticks.HighPart};
    return SetFileTime(file.get(), nullptr, nullptr, &time) != 0; // null: that time stays as it is
}

} // namespace VESK
