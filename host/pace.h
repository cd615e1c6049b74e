#pragma once

#include <QtCore/QtGlobal>

#include <deque>

namespace VESK::Host
{

/// How fast a number grows, over the last five seconds: long enough to be calm, short enough to follow a
/// change. Without a lock of its own.
class Pace
{
public:
    /// The number at a time in milliseconds, which must not go back.
    void sample(qint64 nowMs, qint64 value);

    /// Growth a second; 0 until two samples tell it.
    double perSecond() const;

private:
    struct Sample {
        qint64 timeMs;
        qint64 value;
    };

    std::deque<Sample> m_samples; // oldest first
};

} // namespace VESK::Host
