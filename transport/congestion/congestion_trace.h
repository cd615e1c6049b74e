#pragma once

#include "transport/congestion/sending_end.h"

#include <cstdio>
#include <mutex>

namespace VESK
{

/// Writes what congestion controls see and do to the file that the environment variable
/// VESK_CONGESTION_TRACE names, a line per feedback and not more than one per 10 ms: time in seconds,
/// connection, state, delivery rate and pacing rate in packets per second, round-trip time and its minimum in
/// ms, packets in flight, window, packets lost in total, time in the
/// queue in ms. Without the variable it does nothing. Any thread.
class CongestionTrace
{
public:
    static CongestionTrace &instance();

    void write(const void *connection, const SendingEnd &sender, TimeUs now);

private:
    CongestionTrace();

    std::FILE *m_file = nullptr; // open for the life of the process
    std::mutex m_mutex; // guards what follows
    TimeUs m_first = 0;
    TimeUs m_last = 0;
    const void *m_lastConnection = nullptr;
};

} // namespace VESK
