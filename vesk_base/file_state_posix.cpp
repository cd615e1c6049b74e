#include "vesk_base/file_state.h"

#include <QtCore/QFile>

#include <ctime>
#include <sys/stat.h>

namespace VESK
{

namespace
{

qint64 nanoseconds(const timespec &time)
{
    return static_cast<qint64>(time.tv_sec) * 1000000000 + time.tv_nsec;
}

std::optional<struct stat> readStatus(const QString &path)
{
    struct stat status;
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return std::nullopt;
    return status;
}

} // namespace

std::optional<FileState> readFileState(const QString &path)
{
    if (path.contains(QChar(0))) // the system would read the path only so far
        return std::nullopt;
    const std::optional<struct stat> status = readStatus(path);
    if (!status || !S_ISREG(status->st_mode))
        return std::nullopt;
    return FileState{static_cast<quint64>(status->st_dev), static_cast<quint64>(status->st_ino),
                     static_cast<qint64>(status->st_size), nanoseconds(status->st_mtim),
                     nanoseconds(status->st_ctim)};
}

qint64 fileClockNs()
{
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return nanoseconds(now);
}

} // namespace VESK
