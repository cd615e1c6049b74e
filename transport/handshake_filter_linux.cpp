#include "transport/handshake_filter.h"

#include "transport/udt_socket.h"

#include <linux/filter.h>
#include <sys/socket.h>

namespace VESK
{

namespace
{

// Offsets in bytes from the UDP header, which is what a filter on a UDP socket sees first.
constexpr unsigned int packetType = 8; // upper half of UDT's first word
constexpr unsigned int packetSize = 36;
constexpr unsigned int flowWindow = 40;

constexpr unsigned int handshake = 0x8000;
constexpr unsigned int maxPacketSize = 65535; // bytes
constexpr unsigned int minFlowWindow = 32; // packets; the library asks for no less
constexpr unsigned int maxFlowWindow = 1000000; // packets; 40 times the library's usual one

constexpr unsigned int wholePacket = 0xFFFFFFFF;

} // namespace

bool attachHandshakeFilter(int udpSocket)
{
    // A load beyond the end of a datagram drops it. Jumps count the instructions to skip: if true, if false.
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_H | BPF_ABS, packetType),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, handshake, 0, 6), // all else: accept
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, packetSize),
        BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, minPacketSize, 0, 5),
        BPF_JUMP(BPF_JMP | BPF_JGT | BPF_K, maxPacketSize, 4, 0),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, flowWindow),
        BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, minFlowWindow, 0, 2),
        BPF_JUMP(BPF_JMP | BPF_JGT | BPF_K, maxFlowWindow, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, wholePacket),
        BPF_STMT(BPF_RET | BPF_K, 0), // drop
    };
    const sock_fprog filter{sizeof program / sizeof program[0], program};
    return ::setsockopt(udpSocket, SOL_SOCKET, SO_ATTACH_FILTER, &filter, sizeof filter) == 0;
}

} // namespace VESK
