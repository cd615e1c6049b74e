#pragma once

#include "transport/congestion/receiving_end.h"
#include "transport/congestion/sending_end.h"

#include <deque>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <vector>

namespace VESK::Test
{

struct LineSettings {
    double packetsPerSecond = 10000;
    TimeUs rttUs = 50000;
    TimeUs queueUs = 50000; ///< longest wait before the line
    double loss = 0; ///< share of 1, in both directions
    TimeUs jitterUs = 0; ///< each packet is late by up to this, and so may be overtaken
    Sequence first = 0;
};

/// Senders that have data without end, or until `end`, their receivers, and a line between them, on a clock
/// of its own: what the transport library would do around the two halves of the congestion control is done
/// here, simply.
class SimulatedLine
{
public:
    explicit SimulatedLine(const LineSettings &settings, int flows = 1, std::uint32_t seed = 1);

    void run(double seconds);

    struct Flow {
        SendingEnd sender;
        ReceivingEnd receiver;
        std::set<int> lossList; // as offsets from the first packet
        std::vector<bool> has; // by offset
        int acknowledged = 0; // offset
        int next = 0; // offset
        int end = std::numeric_limits<int>::max(); // offset; there are data up to here
        double nextSend = 0; // microseconds
        TimeUs nextAck = 0;
        bool isActive = true;
        std::uint64_t sent = 0;
    };
    Flow &flow(int index) { return m_flows[static_cast<std::size_t>(index)]; }

    TimeUs queueUs() const { return m_lineFreeUs > m_now ? m_lineFreeUs - m_now : 0; }
    TimeUs longestQueueUs() const { return m_longestQueue; }
    void forgetLongestQueue() { m_longestQueue = 0; }

    LineSettings settings;

private:
    struct Event {
        std::size_t flow;
        Sequence sequence; // of a data packet, or -1
        std::vector<std::int32_t> feedback;
        std::vector<std::int32_t> report;
        int ack; // offset, or -1
    };

    void send(std::size_t index);
    void deliver(const Event &event);
    void deliverData(std::size_t index, Sequence sequence);
    void answer(Event event);
    bool isLost();

    std::mt19937 m_random;
    TimeUs m_now = 1000000;
    TimeUs m_lineFreeUs = 0;
    TimeUs m_longestQueue = 0;
    std::vector<Flow> m_flows;
    std::multimap<TimeUs, Event> m_events;
};

} // namespace VESK::Test
