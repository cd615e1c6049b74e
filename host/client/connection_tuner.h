#pragma once

#include <QtCore/QtGlobal>

namespace VESK::Host
{

/// Decides how many connections a run works with. A small file costs round trips and a connection moves
/// one file at a time, so more connections help until the line, a disk or the server is the limit: the
/// number grows while the throughput grows with it, goes back by a step when it did not, and shrinks when
/// memory gets short, the server takes no more, or connections are lost. Pure: it reads no clock.
class ConnectionTuner
{
public:
    static constexpr int most = 64;

    /// What is known at one moment; counts since the run's start.
    struct Reading {
        qint64 nowMs = 0;
        qint64 bytes = 0; ///< moved
        qint64 tasks = 0; ///< ended
        qint64 losses = 0; ///< of connections
        int connected = 0;
        int waiting = 0; ///< tasks that no connection has taken yet
        qint64 waitingBytes = -1; ///< of their files, where that is known
        int affordable = most; ///< connections that memory allows for
    };

    /// `fixed`: the number that a person wants, 0 for an automatic one.
    explicit ConnectionTuner(int fixed);

    /// The number wanted from now on. To be called many times a second.
    int update(const Reading &reading);

    /// The server took no more than `held`.
    void refused(int held, qint64 nowMs);
    /// `held` are left after one was lost and could not be made again.
    void lost(int held, qint64 nowMs);

private:
    void hold(int held, qint64 untilMs);
    void begin(const Reading &reading);
    void evaluate(const Reading &reading);
    void setWanted(int wanted, const Reading &reading);
    int limit(const Reading &reading) const;
    int firstNumber(const Reading &reading) const;

    const int m_fixed;
    int m_wanted = 1;
    int m_before = 1; // wanted before the last growth
    double m_scoreBefore = 0; // throughput with that number
    bool m_isGrowing = true; // since the last growth paid
    qint64 m_holdUntilMs = 0; // no growth before
    int m_ceiling = most; // that the server has shown
    qint64 m_ceilingUntilMs = 0;
    bool m_isMeasuring = false;
    qint64 m_changedMs = 0;
    Reading m_start; // of the measurement
    qint64 m_lossesSeen = 0;
};

} // namespace VESK::Host
