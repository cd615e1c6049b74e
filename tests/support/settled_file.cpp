#include "tests/support/settled_file.h"

#include "vesk_base/file_state.h"

#include <gtest/gtest.h>

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <chrono>
#include <fcntl.h>
#include <sys/stat.h>
#include <thread>

namespace VESK::Test
{

void setModificationTime(const QString &path, qint64 timeNs)
{
    timespec times[2] = {};
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = timeNs / oneSecond;
    times[1].tv_nsec = timeNs % oneSecond;
    ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0), 0);
}

bool waitUntilSettled(const QString &path)
{
    using namespace std::chrono_literals;
    const auto end = std::chrono::steady_clock::now() + 20s;
    while (std::chrono::steady_clock::now() < end) {
        const std::optional<FileState> state = readFileState(path);
        if (state && isSettled(state->ctimeNs, fileClockNs()))
            return true;
        std::this_thread::sleep_for(50ms);
    }
    return false;
}

QString settledFile()
{
    const QString path = QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath();
    return waitUntilSettled(path) ? path : QString();
}

} // namespace VESK::Test
