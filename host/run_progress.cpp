#include "host/run_progress.h"

namespace VESK::Host
{

int RunAccount::begin(const QString &name)
{
    m_tasks[++m_lastTask].name = name;
    return m_lastTask;
}

void RunAccount::update(int task, const ProgressView &view)
{
    m_tasks[task].view = view;
    settle();
}

void RunAccount::end(int task)
{
    m_tasks.erase(task);
}

void RunAccount::addKnown(qint64 files, qint64 bytes)
{
    m_filesKnown += files;
    m_bytesKnown += qMax<qint64>(0, bytes);
    m_sizesAreKnown = m_sizesAreKnown && bytes >= 0;
}

void RunAccount::addDone(qint64 size, qint64 moved)
{
    ++m_filesDone;
    m_doneBytes += qMax<qint64>(0, size);
    m_doneMoved += qMax<qint64>(0, moved);
    settle();
}

// Between the end of a task and the news what became of its file, and before a task is repeated, less is
// accounted for than before; what was shown stays until it is reached again.
void RunAccount::settle()
{
    qint64 bytes = m_doneBytes;
    qint64 moved = m_doneMoved;
    for (const auto &[number, task] : m_tasks) {
        bytes += task.view.arrived;
        moved += task.view.moved;
    }
    m_shownBytes = qMax(m_shownBytes, bytes);
    m_shownMoved = qMax(m_shownMoved, moved);
}

RunProgress RunAccount::progress(qint64 nowMs) const
{
    RunProgress run;
    for (const auto &[number, task] : m_tasks)
        run.tasks.push_back(task);
    run.filesDone = m_filesDone;
    run.filesKnown = qMax(m_filesKnown, m_filesDone);
    run.allAreKnown = m_allAreKnown;
    run.bytesDone = m_shownBytes;
    run.bytesKnown = m_sizesAreKnown && m_filesKnown > 0 ? qMax(m_bytesKnown, m_shownBytes) : -1;
    run.bytesMoved = m_shownMoved;
    run.bytesPerSecond = m_pace.perSecond();
    if (m_allAreKnown && run.bytesKnown >= 0 && run.bytesPerSecond > 0)
        run.secondsLeft = static_cast<double>(run.bytesKnown - run.bytesDone) / run.bytesPerSecond;
    run.seconds = static_cast<double>(nowMs) / 1000;
    return run;
}

} // namespace VESK::Host
