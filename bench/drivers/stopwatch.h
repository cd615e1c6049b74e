#pragma once

#include <chrono>
#include <cstdio>

namespace VESK::Bench
{

/// Seconds since it was made.
class Stopwatch
{
public:
    double seconds() const
    {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
    }

private:
    const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

/// One measurement, for the script that reads them.
inline void report(const char *name, double value)
{
    std::printf("%s %.9f\n", name, value);
    std::fflush(stdout);
}

} // namespace VESK::Bench
