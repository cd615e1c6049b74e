#include "transport/refusal_probe.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

namespace VESK
{

RefusalProbe::RefusalProbe(const SocketAddress &peer)
    : m_descriptor(::socket(peer.family(), SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
{
    if (m_descriptor >= 0 && ::connect(m_descriptor, peer.data(), peer.size()) != 0)
        note(errno);
}

RefusalProbe::~RefusalProbe()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

void RefusalProbe::send()
{
    const char byte = 0;
    if (m_descriptor >= 0 && ::send(m_descriptor, &byte, sizeof(byte), MSG_NOSIGNAL) < 0)
        note(errno); // the answer to an earlier datagram may be told here
}

bool RefusalProbe::isRefused(int waitMs)
{
    if (m_error != 0)
        return true;
    pollfd entry{m_descriptor, 0, 0}; // errors are always reported, and without a socket time passes
    if (::poll(&entry, 1, waitMs) <= 0)
        return false;
    int error = 0;
    socklen_t size = sizeof(error);
    if (::getsockopt(m_descriptor, SOL_SOCKET, SO_ERROR, &error, &size) == 0)
        note(error);
    return m_error != 0;
}

void RefusalProbe::note(int error)
{
    if (m_error != 0)
        return; // the first says why, those after it that the socket is of no use
    if (error != EAGAIN && error != EWOULDBLOCK && error != ENOBUFS && error != EINTR)
        m_error = error;
}

} // namespace VESK
