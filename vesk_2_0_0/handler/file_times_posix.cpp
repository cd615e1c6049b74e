#include "vesk_2_0_0/handler/file_times.h"

#include <QtCore/QFile>

#include <fcntl.h>
#include <sys/stat.h>

namespace VESK
{

bool readStatus(const QString &path, FileStatus &status)
{
    struct stat buffer;
    if (::stat(QFile::encodeName(path).constData(), &buffer) != 0)
        return false;
    status.size = buffer.st_size;
    status.mtime = buffer.st_mtim.tv_sec;
    status.isWholeSecond = buffer.st_mtim.tv_nsec == 0;
    return true;
}

bool writeModificationTime(const QString &path, std::int64_t mtime)
{
    timespec times[2] = {};
    times[0].tv_nsec = UTIME_OMIT; // the access time
    times[1].tv_sec = mtime;
    return ::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0) == 0;
}

} // namespace VESK
