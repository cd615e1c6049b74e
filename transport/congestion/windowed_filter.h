#pragma once

#include <array>
#include <cstdint>

namespace VESK
{

/// The largest of the values of the last `window` rounds or microseconds, in constant space: it keeps the
/// best three with their times, and forgets the best when it is too old. For the smallest, give negative
/// values. 0 before there is a value.
class WindowedMax
{
public:
    explicit WindowedMax(std::int64_t window)
        : m_window(window)
    {
    }

    double value() const { return m_best[0].value; }

    void reset(double value, std::int64_t now)
    {
        m_best.fill({value, now});
        m_isEmpty = false;
    }

    void add(double value, std::int64_t now)
    {
        if (m_isEmpty || value >= m_best[0].value || now - m_best[2].time > m_window) {
            reset(value, now);
            return;
        }
        if (value >= m_best[1].value)
            m_best[2] = m_best[1] = {value, now};
        else if (value >= m_best[2].value)
            m_best[2] = {value, now};
        forget(value, now);
    }

private:
    struct Entry {
        double value = 0;
        std::int64_t time = 0;
    };

    void forget(double value, std::int64_t now)
    {
        if (now - m_best[0].time > m_window) {
            m_best = {m_best[1], m_best[2], Entry{value, now}};
            if (now - m_best[0].time > m_window)
                m_best = {m_best[1], m_best[2], Entry{value, now}};
            return;
        }
        // The second and third best come from later parts of the window, so that one is there when the
        // best is forgotten.
        if (m_best[1].time == m_best[0].time && now - m_best[1].time > m_window / 4)
            m_best[2] = m_best[1] = {value, now};
        else if (m_best[2].time == m_best[1].time && now - m_best[2].time > m_window / 2)
            m_best[2] = {value, now};
    }

    std::int64_t m_window;
    bool m_isEmpty = true;
    std::array<Entry, 3> m_best;
};

} // namespace VESK
