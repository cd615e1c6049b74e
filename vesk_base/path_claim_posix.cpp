#include "vesk_base/path_claim.h"

#include <QtCore/QByteArray>

#include <cstddef>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace VESK
{

// A bound socket in Linux's abstract namespace: one owner per name on the whole machine, gone with its
// process, no trace in any file system. Nobody ever connects to it.

std::intptr_t PathClaim::open(const QByteArray &name)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (static_cast<size_t>(name.size()) + 1 > sizeof address.sun_path)
        return none;
    std::memcpy(address.sun_path + 1, name.constData(), static_cast<size_t>(name.size()));
    const size_t length = offsetof(sockaddr_un, sun_path) + 1 + static_cast<size_t>(name.size());

    const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (socket < 0)
        return none;
    if (::bind(socket, reinterpret_cast<const sockaddr *>(&address), static_cast<socklen_t>(length)) != 0) {
        ::close(socket);
        return none;
    }
    return socket;
}

void PathClaim::close(std::intptr_t object)
{
    ::close(static_cast<int>(object));
}

} // namespace VESK
