#include "transport/kernel_buffers.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

using namespace VESK;

namespace
{

constexpr int plenty = 512 << 20; // bytes; more than any system allows by itself

TransportOptions wanting(int bytes)
{
    TransportOptions options;
    options.udpReceiveBuffer = bytes;
    options.udpSendBuffer = bytes;
    return options;
}

int receiveBufferOf(const TransportOptions &options)
{
    const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    raiseKernelBuffers(socket, options);
    int size = 0;
    socklen_t length = sizeof size;
    EXPECT_EQ(::getsockopt(socket, SOL_SOCKET, SO_RCVBUF, &size, &length), 0);
    ::close(socket);
    return size / 2; // the kernel counts its own needs, too
}

int systemLimit()
{
    int limit = 0;
    std::ifstream("/proc/sys/net/core/rmem_max") >> limit;
    return limit;
}

TEST(KernelBuffers, AreAsLargeAsTheSystemAllows)
{
    EXPECT_GE(receiveBufferOf(wanting(plenty)), std::min(plenty, systemLimit()));
    EXPECT_GE(receiveBufferOf(wanting(100000)), 100000);
}

TEST(KernelBuffers, AreMissedExactlyWhenTheyAreSmaller)
{
    const TransportOptions options = wanting(plenty);
    const int granted = receiveBufferOf(options);
    const KernelBufferShortage shortage = kernelBufferShortage(options);
    EXPECT_EQ(shortage.command.isEmpty(), granted >= plenty);
    if (granted < plenty) {
        EXPECT_TRUE(shortage.command.contains(QStringLiteral("net.core.rmem_max=%1").arg(plenty)));
        EXPECT_LE(shortage.limit, granted);
    }
    EXPECT_TRUE(kernelBufferShortage(wanting(100000)).command.isEmpty());
}

} // namespace
