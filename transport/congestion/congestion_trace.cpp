#include "transport/congestion/congestion_trace.h"

#include <cstdlib>

namespace VESK
{

namespace
{

constexpr TimeUs interval = 10000;

const char *nameOf(RateModel::State state)
{
    switch (state) {
    case RateModel::State::Startup:
        return "startup";
    case RateModel::State::Drain:
        return "drain";
    case RateModel::State::Probe:
        return "probe";
    case RateModel::State::Share:
        return "share";
    case RateModel::State::RttProbe:
        return "rtt";
    }
    return "?";
}

} // namespace

CongestionTrace::CongestionTrace()
{
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no program of this project changes its environment
    if (const char *const path = std::getenv("VESK_CONGESTION_TRACE"))
        m_file = std::fopen(path, "ae");
    if (m_file)
        (void)std::setvbuf(m_file, nullptr, _IOLBF, 0);
}

CongestionTrace &CongestionTrace::instance()
{
    static CongestionTrace trace;
    return trace;
}

void CongestionTrace::write(const void *connection, const SendingEnd &sender, TimeUs now)
{
    if (!m_file)
        return;
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_first == 0)
        m_first = now;
    if (connection == m_lastConnection && now - m_last < interval)
        return;
    m_last = now;
    m_lastConnection = connection;
    const RateModel &model = sender.model();
    (void)std::fprintf(m_file, "%.4f %p %s %.0f %.0f %.3f %.3f %d %d %llu %.3f\n",
                       static_cast<double>(now - m_first) * 1e-6, connection, nameOf(model.state()),
                       model.deliveryRate(), model.pacingRate(), static_cast<double>(model.rttUs()) * 1e-3,
                       static_cast<double>(model.minRttUs()) * 1e-3, sender.inFlight(), model.window(),
                       static_cast<unsigned long long>(sender.lost()),
                       static_cast<double>(model.queueUs()) * 1e-3);
}

} // namespace VESK
