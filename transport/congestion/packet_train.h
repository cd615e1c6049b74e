#pragma once

#include "transport/congestion/sequence.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace VESK
{

/// The rate at which the first packets of a connection arrive, which leave all at once: that of the line, as
/// far as a few dozen packets tell it.
class PacketTrain
{
public:
    /// What one feedback says: packets arrived in total, and the receiver's clock.
    void add(std::uint64_t delivered, TimeUs clockUs);

    double rate() const { return m_rate; } ///< packets per second; 0 before it is known

private:
    struct Point {
        std::uint64_t delivered = 0;
        TimeUs clockUs = 0;
    };

    std::array<Point, 8> m_points; // the latest
    std::size_t m_next = 0;
    double m_rate = 0;
};

} // namespace VESK
