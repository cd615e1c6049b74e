#pragma once

#include <QtCore/QString>

namespace VESK::Host
{

/// Sends every handler's log lines to the log of the task that runs on the calling thread; with `verbose`
/// to stderr as well. Once per process, before the first task.
void installClientLog(bool verbose);

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
