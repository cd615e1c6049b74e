#pragma once

#include <QtCore/QtGlobal>

#include <mutex>

namespace VESK::Host
{

/// Deals one rate limit out to the tasks that run side by side. A task keeps its part to its end, since a
/// running transfer's rate cannot be changed; so a part is cut with those in mind that will run beside it.
/// Any thread.
class RateBudget
{
public:
    /// `limit` in bytes per second; 0: there is none.
    explicit RateBudget(qint64 limit)
        : m_limit(limit)
    {
    }

    /// The part for a task when `expected` tasks, this one included, will run at once; 0 without a limit.
    /// Never nothing: where others hold all, the sum goes over the limit by a small part.
    qint64 take(int expected);
    void giveBack(qint64 part);

private:
    const qint64 m_limit;
    std::mutex m_mutex; // guards the rest
    qint64 m_held = 0;
    int m_holders = 0;
};

} // namespace VESK::Host
