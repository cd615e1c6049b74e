#include "host/progress_display.h"

#include "host/text.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace VESK::Host
{

namespace
{

constexpr qint64 lineIntervalMs = 30000;
constexpr int usualWidth = 80;

ProgressStyle settle(ProgressStyle style)
{
    if (style != ProgressStyle::Auto)
        return style;
    return ::isatty(STDERR_FILENO) != 0 ? ProgressStyle::Bar : ProgressStyle::Line;
}

int terminalWidth()
{
    winsize size{};
    const bool isKnown = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? size.ws_col : usualWidth;
}

} // namespace

ProgressDisplay::ProgressDisplay(ProgressStyle style)
    : m_style(settle(style))
{
}

ProgressDisplay::~ProgressDisplay()
{
    wipe();
}

void ProgressDisplay::show(const QString &name, const ProgressView &view, qint64 nowMs)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_style == ProgressStyle::Bar) {
        writeStderr(QStringLiteral("\r\033[K") + progressLine(name, view, terminalWidth()));
        m_isDrawn = true;
        return;
    }
    if (m_lastLineMs < 0)
        m_lastLineMs = nowMs;
    if (m_style != ProgressStyle::Line || nowMs - m_lastLineMs < lineIntervalMs)
        return;
    m_lastLineMs = nowMs;
    constexpr int unlimited = 1000;
    writeStderr(progressLine(name, view, unlimited) + QLatin1Char('\n'));
}

void ProgressDisplay::clear()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    wipe();
}

void ProgressDisplay::print(const QString &lines)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    wipe();
    writeStderr(lines);
}

void ProgressDisplay::wipe()
{
    if (m_isDrawn)
        writeStderr(QStringLiteral("\r\033[K"));
    m_isDrawn = false;
}

} // namespace VESK::Host
