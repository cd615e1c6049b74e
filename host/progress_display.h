#pragma once

#include "host/progress.h"

#include <QtCore/QString>

#include <mutex>

namespace VESK::Host
{

/// How progress is shown on stderr.
enum class ProgressStyle {
    Auto, ///< Bar on a terminal, Line elsewhere
    Bar, ///< one line that is drawn over
    Line, ///< a line of its own every 30 s
    None,
};

/// Draws progress on stderr and keeps other lines apart from it. Callable from any thread.
class ProgressDisplay
{
public:
    explicit ProgressDisplay(ProgressStyle style);
    /// Wipes the progress line.
    ~ProgressDisplay();
    ProgressDisplay(const ProgressDisplay &) = delete;
    ProgressDisplay &operator=(const ProgressDisplay &) = delete;

    /// Shows the state of one file; `name` is escaped already. Draws only when it is time for it.
    void show(const QString &name, const ProgressView &view, qint64 nowMs);

    /// Wipes the progress line, as at the end of a file.
    void clear();

    /// Writes a text of whole lines without tearing the progress line.
    void print(const QString &lines);

private:
    void wipe();

    std::mutex m_mutex; // guards the rest, and keeps writes to stderr in order
    const ProgressStyle m_style;
    bool m_isDrawn = false;
    qint64 m_lastLineMs = -1;
};

} // namespace VESK::Host
