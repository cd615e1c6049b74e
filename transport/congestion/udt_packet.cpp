#include "transport/congestion/udt_packet.h"

#include <cstdint>

// The library takes packets from congestion controls and hands packets to them, but does not export the
// members of its class for them. These two are the ones that a control cannot do without; they do what the
// library's do, on the layout that its header gives. A program has either these or, were they exported one
// day, those.
CPacket::CPacket()
    : m_iSeqNo(reinterpret_cast<int32_t &>(m_nHeader[0]))
    , m_iMsgNo(reinterpret_cast<int32_t &>(m_nHeader[1]))
    , m_iTimeStamp(reinterpret_cast<int32_t &>(m_nHeader[2]))
    , m_iID(reinterpret_cast<int32_t &>(m_nHeader[3]))
    , m_pcData(reinterpret_cast<char *&>(m_PacketVector[1].iov_base))
    , m_nHeader{}
    , m_PacketVector{}
    , __pad(0)
{
    m_PacketVector[0].iov_base = m_nHeader;
    m_PacketVector[0].iov_len = sizeof(m_nHeader);
}

// NOLINTNEXTLINE(modernize-use-equals-default): then clang-tidy would have the library's header changed
CPacket::~CPacket() { }

namespace VESK
{

namespace
{

/// Names the protected members, which may then be used on any packet.
struct Members : CPacket {
    static constexpr auto vector = &Members::m_PacketVector;
};

} // namespace

std::size_t packetDataSize(const CPacket &packet)
{
    return (packet.*Members::vector)[1].iov_len;
}

void packControl(CPacket *packet, int type, std::int32_t *words, std::size_t count)
{
    constexpr std::uint32_t controlFlag = 0x80000000;
    packet->m_iSeqNo = static_cast<std::int32_t>(controlFlag | static_cast<std::uint32_t>(type) << 16);
    (packet->*Members::vector)[1].iov_base = words;
    (packet->*Members::vector)[1].iov_len = count * sizeof(*words);
}

} // namespace VESK
