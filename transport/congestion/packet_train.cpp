#include "transport/congestion/packet_train.h"

#include <algorithm>

namespace VESK
{

namespace
{
// Fewer than are sent at first, since some may be lost or late.
constexpr std::uint64_t trainPackets = 32;
} // namespace

void PacketTrain::add(std::uint64_t delivered, TimeUs clockUs)
{
    // The sender may pause between its first packets, and messages may have gone before: the best part
    // counts.
    for (const Point &point : m_points) {
        const TimeUs time = clockUs - point.clockUs;
        if (point.delivered == 0 || delivered < point.delivered + trainPackets || time <= 0)
            continue;
        const auto packets = static_cast<double>(delivered - point.delivered);
        m_rate = std::max(m_rate, packets * 1e6 / static_cast<double>(time));
    }
    m_points[m_next] = {delivered, clockUs};
    m_next = (m_next + 1) % m_points.size();
}

} // namespace VESK
