#pragma once

#include <QtCore/QString>

namespace VESK::Host
{

class ProgressDisplay;

/// While it lives, every handler's log lines go to the log of the task that runs on the calling thread, and
/// to that of the display; with `verbose` they are shown as well. One at a time, around all tasks.
class ClientLog
{
public:
    ClientLog(ProgressDisplay &display, bool verbose);
    ~ClientLog();
    ClientLog(const ClientLog &) = delete;
    ClientLog &operator=(const ClientLog &) = delete;
};

/// What one task said about its failure. Exists on the task's thread, around `process`; one at a time.
class TaskLog
{
public:
    TaskLog();
    ~TaskLog();
    TaskLog(const TaskLog &) = delete;
    TaskLog &operator=(const TaskLog &) = delete;

    /// Called by the log sink.
    void take(const QString &level, const QString &message);

    /// The last line of level "error", without the operation's name; empty when there was none.
    QString lastError() const { return m_lastError; }

private:
    QString m_lastError;
};

} // namespace VESK::Host
