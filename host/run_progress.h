#pragma once

#include "host/pace.h"
#include "host/progress.h"

#include <QtCore/QString>

#include <map>
#include <vector>

namespace VESK::Host
{

/// What a run of transfers has come to at one moment.
struct RunProgress {
    struct Task {
        QString name; ///< for people, escaped
        ProgressView view;
    };
    std::vector<Task> tasks; ///< the running ones, the oldest first
    qint64 filesDone = 0; ///< whatever became of them
    qint64 filesKnown = 0; ///< those that are done among them
    bool allAreKnown = false; ///< no more files will come to be known
    qint64 bytesDone =
        0; ///< sizes of files that are done, and what receivers have of others; never goes back
    qint64 bytesKnown = -1; ///< sizes of all known files; -1 when the size of one is not known
    qint64 bytesMoved = 0; ///< over the line; never goes back
    double bytesPerSecond = 0; ///< of moved bytes, over the last seconds
    double secondsLeft = -1; ///< -1: not known
    double seconds = 0; ///< since the run began
};

/// Keeps account of the tasks and files of a run. Times are milliseconds of one clock that does not go
/// back. Without a lock of its own.
class RunAccount
{
public:
    /// A task begins; the result names it from now on.
    int begin(const QString &name);
    void update(int task, const ProgressView &view);
    void end(int task);

    /// More files are known; `bytes` is the sum of their sizes, -1 when that is not known.
    void addKnown(qint64 files, qint64 bytes);
    void setAllKnown() { m_allAreKnown = true; }
    /// A file is done, well or not: its size, and the bytes that all tasks for it moved.
    void addDone(qint64 size, qint64 moved);

    /// Takes note of the pace; to be called some times a second.
    void sample(qint64 nowMs) { m_pace.sample(nowMs, m_shownMoved); }
    RunProgress progress(qint64 nowMs) const;

private:
    void settle();

    std::map<int, RunProgress::Task> m_tasks; // by number, hence by age
    Pace m_pace; // of what was shown as moved
    int m_lastTask = 0;
    qint64 m_filesDone = 0;
    qint64 m_filesKnown = 0;
    qint64 m_bytesKnown = 0;
    bool m_sizesAreKnown = true;
    bool m_allAreKnown = false;
    qint64 m_doneBytes = 0; // sizes of files that are done
    qint64 m_doneMoved = 0; // moved for files that are done
    qint64 m_shownBytes = 0; // the most that was told as bytesDone
    qint64 m_shownMoved = 0; // the same of bytesMoved
};

} // namespace VESK::Host
