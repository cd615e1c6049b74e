#include "transport/private_network.h"

#include <netinet/in.h>

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace VESK
{

namespace
{

bool isPrivateV6(const in6_addr &address)
{
    const std::uint8_t *bytes = address.s6_addr;
    const bool isUniqueLocal = (bytes[0] & 0xfe) == 0xfc;
    const bool isLinkLocal = bytes[0] == 0xfe && (bytes[1] & 0xc0) == 0x80;
    return isUniqueLocal || isLinkLocal;
}

bool isPrivateV4(std::uint32_t address)
{
    struct Range {
        std::uint32_t first;
        int bits;
    };
    static constexpr Range ranges[] = {
        {0x0a000000, 8}, // 10.0.0.0
        {0xac100000, 12}, // 172.16.0.0
        {0xc0a80000, 16}, // 192.168.0.0
        {0xa9fe0000, 16}, // 169.254.0.0, of the link
        {0x64400000, 10}, // 100.64.0.0, of a provider or an overlay network
    };
    return std::any_of(std::begin(ranges), std::end(ranges), [address](const Range &range) {
        return (address ^ range.first) >> (32 - range.bits) == 0;
    });
}

} // namespace

bool isPrivate(const SocketAddress &address)
{
    if (address.isLoopback())
        return true;
    if (address.family() == AF_INET6)
        return isPrivateV6(reinterpret_cast<const sockaddr_in6 *>(address.data())->sin6_addr);
    return isPrivateV4(ntohl(reinterpret_cast<const sockaddr_in *>(address.data())->sin_addr.s_addr));
}

} // namespace VESK
