#include "transport/congestion/sent_packets.h"

namespace VESK
{

namespace
{
constexpr std::size_t firstSize = 256; // packets
constexpr std::size_t maxSize = 32768; // packets; more than the largest flow window in use
} // namespace

SentPackets::SentPackets(Sequence first)
    : m_first(first)
    , m_next(first)
    , m_ring(firstSize)
{
}

SentPacket &SentPackets::slot(Sequence sequence)
{
    return m_ring[static_cast<std::size_t>(sequence) & (m_ring.size() - 1)];
}

void SentPackets::grow()
{
    std::vector<SentPacket> larger(m_ring.size() * 2);
    larger.swap(m_ring);
    for (const SentPacket &packet : larger)
        if (packet.sequence >= 0)
            slot(packet.sequence) = packet;
}

SentPacket &SentPackets::append()
{
    if (static_cast<std::size_t>(count()) >= m_ring.size() && m_ring.size() < maxSize)
        grow();
    SentPacket &packet = slot(m_next);
    packet = SentPacket();
    packet.sequence = m_next;
    m_next = sequenceAfter(m_next, 1);
    return packet;
}

SentPacket *SentPackets::find(Sequence sequence)
{
    if (sequenceOffset(m_first, sequence) < 0 || sequenceOffset(sequence, m_next) <= 0)
        return nullptr;
    SentPacket &packet = slot(sequence);
    return packet.sequence == sequence ? &packet : nullptr;
}

void SentPackets::acknowledge(Sequence next)
{
    if (sequenceOffset(m_first, next) > 0 && sequenceOffset(next, m_next) >= 0)
        m_first = next;
}

} // namespace VESK
