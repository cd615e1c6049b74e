#pragma once

#include "host/pace.h"

#include <QtCore/QString>
#include <QtCore/QtGlobal>

namespace VESK::Host
{

/// Which way a task's data goes.
enum class Direction {
    Up, ///< to the server
    Down, ///< from the server
    None, ///< no file is moved
};

/// What a task is doing, told from its two counters.
enum class Phase { Hashing, Waiting, Sending, Receiving, Verifying };

/// The phase's name for people.
QString phaseName(Phase phase);

/// The counters of one task as they were read at one moment; both are -1 until the handler writes them.
struct CounterReading {
    qint64 total = -1; ///< size of the file, bytes
    qint64 done = -1; ///< position up to which bytes were handed to the transport, or have come out of it
    qint64 unsent = 0; ///< of these, bytes that have not arrived at the peer
    Direction direction = Direction::Up;
};

Phase phaseOf(const CounterReading &reading);

/// Are the file's bytes on their way?
bool isMoving(Phase phase);

/// What to show of one task.
struct ProgressView {
    Phase phase = Phase::Hashing;
    qint64 total = 0; ///< bytes
    qint64 arrived = 0; ///< position up to which the receiver has the file; never goes back
    qint64 moved = 0; ///< bytes of these that came since the task began; resumed ones are none of them
    int percent = 0; ///< never goes back, and 99 at most: 100 is for a task that succeeded
    double bytesPerSecond = 0; ///< of moved bytes, over the last seconds
    double secondsLeft = -1; ///< -1: not known
};

/// Makes views of one task's readings: what the receiver has, how fast it grows, when it will be done.
/// Resumed bytes count as there, not as moved.
class ProgressMeter
{
public:
    /// Takes a reading at a time in milliseconds, which must not go back.
    ProgressView update(qint64 nowMs, const CounterReading &reading);

    /// Since when the receiver's end of the file has not moved, in milliseconds of the readings' clock; for
    /// phases that move nothing, the time of the last reading, since these have no pace to watch.
    qint64 lastMoveMs() const { return m_lastMoveMs; }

private:
    Pace m_pace; // of the receiver's end of the file
    qint64 m_arrived = -1;
    qint64 m_begin = 0; // where the first reading found it
    qint64 m_lastMoveMs = 0;
    int m_percent = 0;
};

} // namespace VESK::Host
