#pragma once

#include "host/run_progress.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QString>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace VESK::Host
{

/// How progress is shown on stderr.
enum class ProgressStyle {
    Auto, ///< Bar on a terminal, Line elsewhere
    Bar, ///< a few lines that are drawn over, 5 times a second
    Line, ///< a line of its own every 30 s
    None,
};

struct ProgressSettings {
    ProgressStyle style = ProgressStyle::Auto;
    qint64 lineIntervalMs = 0; ///< a line of its own so often, whatever the style; 0: as the style has it
    bool hasColour = false;
    bool isQuiet = false; ///< notes are not shown
    /// Called with what was printed, whether shown or not; empty: not called. On the caller's thread.
    std::function<void(const QString &lines)> log;
    /// Called so often with what is known, on the display's thread; empty or 0: not called.
    std::function<void(const RunProgress &)> report;
    qint64 reportIntervalMs = 0;
};

/// Shows on stderr how the tasks of a run go on, and keeps other lines apart from it. Callable from any
/// thread; a thread of its own draws. One at a time, for the whole run.
class ProgressDisplay
{
public:
    explicit ProgressDisplay(const ProgressSettings &settings);
    /// Wipes what is drawn over.
    ~ProgressDisplay();
    ProgressDisplay(const ProgressDisplay &) = delete;
    ProgressDisplay &operator=(const ProgressDisplay &) = delete;

    /// A running task has a line while one of these lives. The display outlives it. For one thread.
    class Task
    {
    public:
        /// `name` is for people, escaped already.
        Task(ProgressDisplay &display, const QString &name);
        ~Task();
        Task(const Task &) = delete;
        Task &operator=(const Task &) = delete;

        /// As often as you like.
        void update(const ProgressView &view);

    private:
        ProgressDisplay &m_display;
        const int m_number;
    };

    /// More files will be moved in this run; `bytes` is the sum of their sizes, -1 when that is not known.
    void addKnown(qint64 files, qint64 bytes);
    /// No more files will come to be known: from now on there is a share of the whole, and a time left.
    void setAllKnown();
    /// A known file is done, well or not: its size (-1: not known), and the bytes that were moved for it.
    void addDone(qint64 size, qint64 moved);

    /// Writes a text of whole lines without tearing what is drawn.
    void print(const QString &lines);

    /// The same for what a quiet run leaves out.
    void note(const QString &lines);

    /// Whole lines for the log alone.
    void log(const QString &lines);

    /// Writes at once what is known of the run and of each running task.
    void printStatus();

    /// Wipes what is drawn, calls `stop`, in which the process may sleep, and goes on.
    void suspend(const std::function<void()> &stop);

    /// Calls `report` of the settings no more.
    void endReports();

    RunProgress progress() const;

private:
    void work();
    void tick();
    void draw();
    void wipe();
    void write(const QString &text);
    QString coloured(const QString &lines) const;
    int drawnRows(int width) const;

    const ProgressSettings m_settings; // the style is settled
    const qint64 m_lineIntervalMs; // 0: no lines
    mutable std::mutex m_mutex; // guards the rest, and keeps writes to stderr in order
    RunAccount m_account;
    QElapsedTimer m_clock;
    std::vector<int> m_drawn; // columns of each line that stands on the terminal
    qint64 m_lastLineMs = 0;
    qint64 m_lastReportMs = 0;
    bool m_mayReport = true;
    bool m_isEnding = false;
    std::condition_variable m_ending;
    std::thread m_thread;
};

} // namespace VESK::Host
