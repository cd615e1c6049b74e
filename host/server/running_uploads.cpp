#include "host/server/running_uploads.h"

#include "transport/port_probe.h"
#include "transport/udt_socket.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <utility>

namespace VESK::Host
{

namespace
{

using namespace std::chrono_literals;

constexpr auto pollInterval = 50ms;
constexpr auto silenceLimit = 5s; // no packet of data for so long: the client is taken for dead
constexpr auto endLimit = 10s; // a paused upload ends at once, unless it is hashing its file

using FileIdentity = std::pair<dev_t, ino_t>;

// One file may have many paths: through links, and through shares that lie in one another.
std::optional<FileIdentity> identityOf(const QString &path)
{
    struct stat status {
    };
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return std::nullopt;
    return FileIdentity(status.st_dev, status.st_ino);
}

// Still receiving? Later, while it hashes and places the file, silence means nothing.
bool wantsData(const RunningUploads::Upload &upload)
{
    return QFileInfo(upload.temporaryPath).size() < upload.fileSize;
}

} // namespace

bool RunningUploads::enter(const QString &target, const Upload &upload)
{
    Lock lock(m_mutex);
    if (m_uploads.count(target) != 0 && !makeRoom(target, lock))
        return false;
    return m_uploads.emplace(target, upload).second;
}

bool RunningUploads::makeRoom(const QString &target, Lock &lock)
{
    const auto isFree = [&] { return m_uploads.count(target) == 0; };
    const Upload other = m_uploads.at(target);
    const qint64 packetsBefore = receivedPackets(other.socket);
    PortProbe probe(other.client);
    probe.knock();
    const auto silentAt = std::chrono::steady_clock::now() + silenceLimit;
    while (std::chrono::steady_clock::now() < silentAt) {
        if (m_removed.wait_for(lock, pollInterval, isFree))
            return true;
        if (receivedPackets(other.socket) != packetsBefore)
            return false;
        if (probe.isRefused(0))
            break;
    }
    const auto entry = m_uploads.find(target);
    if (entry == m_uploads.end())
        return true;
    if (entry->second.socket != other.socket || !wantsData(entry->second))
        return false;
    entry->second.pause();
    return m_removed.wait_for(lock, endLimit, isFree);
}

bool RunningUploads::holds(const QString &temporaryPath)
{
    const std::optional<FileIdentity> asked = identityOf(temporaryPath);
    const std::lock_guard<std::mutex> lock(m_mutex);
    return asked && std::any_of(m_uploads.begin(), m_uploads.end(), [&](const auto &entry) {
               return identityOf(entry.second.temporaryPath) == asked;
           });
}

void RunningUploads::remove(const QString &target)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_uploads.erase(target);
    m_removed.notify_all();
}

} // namespace VESK::Host
