#include "tests/support/settled_file.h"

#include "vesk_base/file_state.h"

#include <QtCore/QFileInfo>

#include <chrono>
#include <thread>

namespace VESK::Test
{

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
