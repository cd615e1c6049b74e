#include "host/progress_display.h"

#include "host/columns.h"
#include "host/progress_lines.h"
#include "host/terminal.h"
#include "host/text.h"

#include <chrono>

namespace VESK::Host
{

namespace
{

constexpr std::chrono::milliseconds drawInterval{200};
constexpr qint64 usualLineIntervalMs = 30000;

ProgressSettings settled(ProgressSettings settings)
{
    if (settings.style == ProgressStyle::Auto)
        settings.style = stderrIsTerminal() ? ProgressStyle::Bar : ProgressStyle::Line;
    return settings;
}

qint64 lineIntervalOf(const ProgressSettings &settings)
{
    if (settings.lineIntervalMs > 0)
        return settings.lineIntervalMs;
    return settings.style == ProgressStyle::Line ? usualLineIntervalMs : 0;
}

QString bold(const QString &text)
{
    return QLatin1String("\033[1m") + text + QLatin1String("\033[0m");
}

} // namespace

ProgressDisplay::ProgressDisplay(const ProgressSettings &settings)
    : m_settings(settled(settings))
    , m_lineIntervalMs(lineIntervalOf(m_settings))
{
    m_clock.start();
    m_thread = std::thread([this] { work(); });
}

ProgressDisplay::~ProgressDisplay()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isEnding = true;
        m_ending.notify_all();
    }
    m_thread.join();
    wipe();
}

ProgressDisplay::Task::Task(ProgressDisplay &display, const QString &name)
    : m_display(display)
    , m_number([&] {
        const std::lock_guard<std::mutex> lock(display.m_mutex);
        return display.m_account.begin(name);
    }())
{
}

ProgressDisplay::Task::~Task()
{
    const std::lock_guard<std::mutex> lock(m_display.m_mutex);
    m_display.m_account.end(m_number);
}

void ProgressDisplay::Task::update(const ProgressView &view)
{
    const std::lock_guard<std::mutex> lock(m_display.m_mutex);
    m_display.m_account.update(m_number, view);
}

void ProgressDisplay::addKnown(qint64 files, qint64 bytes)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_account.addKnown(files, bytes);
}

void ProgressDisplay::setAllKnown()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_account.setAllKnown();
}

void ProgressDisplay::addDone(qint64 size, qint64 moved)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_account.addDone(size, moved);
}

RunProgress ProgressDisplay::progress() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_account.progress(m_clock.elapsed());
}

void ProgressDisplay::print(const QString &lines)
{
    log(lines);
    const std::lock_guard<std::mutex> lock(m_mutex);
    wipe();
    write(coloured(lines));
}

void ProgressDisplay::note(const QString &lines)
{
    if (m_settings.isQuiet)
        log(lines);
    else
        print(lines);
}

void ProgressDisplay::log(const QString &lines)
{
    if (m_settings.log)
        m_settings.log(lines);
}

void ProgressDisplay::printStatus()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    wipe();
    write(progressStatus(m_account.progress(m_clock.elapsed())));
}

void ProgressDisplay::suspend(const std::function<void()> &stop)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    wipe();
    stop();
}

void ProgressDisplay::endReports()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_mayReport = false;
}

void ProgressDisplay::work()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_ending.wait_for(lock, drawInterval, [this] { return m_isEnding; }))
        tick();
}

void ProgressDisplay::tick()
{
    const qint64 nowMs = m_clock.elapsed();
    m_account.sample(nowMs);
    if (m_lineIntervalMs > 0 && nowMs - m_lastLineMs >= m_lineIntervalMs) {
        m_lastLineMs = nowMs;
        wipe();
        write(progressSentence(m_account.progress(nowMs)) + QLatin1Char('\n'));
    }
    if (m_settings.style == ProgressStyle::Bar)
        draw();
    const bool mayReport = m_mayReport && m_settings.report && m_settings.reportIntervalMs > 0;
    if (mayReport && nowMs - m_lastReportMs >= m_settings.reportIntervalMs) {
        m_lastReportMs = nowMs;
        m_settings.report(m_account.progress(nowMs));
    }
}

void ProgressDisplay::draw()
{
    if (!isInForeground()) {
        m_drawn.clear(); // the terminal is somebody else's now
        return;
    }
    const TerminalSize size = terminalSize();
    const RunProgress run = m_account.progress(m_clock.elapsed());
    const QStringList lines = progressLines(run, size.width, size.height);
    if (lines.isEmpty() && m_drawn.empty())
        return;
    QString frame;
    const int rows = drawnRows(size.width);
    if (rows > 1)
        frame += QStringLiteral("\033[%1A").arg(rows - 1);
    frame += QLatin1Char('\r');
    m_drawn.clear();
    for (const QString &line : lines) {
        if (!m_drawn.empty())
            frame += QLatin1Char('\n');
        const bool isTotal = lines.size() > 1 && m_drawn.size() + 1 == static_cast<std::size_t>(lines.size());
        frame += (isTotal && m_settings.hasColour ? bold(line) : line) + QLatin1String("\033[K");
        m_drawn.push_back(columnsOf(line));
    }
    write(frame + QLatin1String("\033[J"));
}

// Most terminals break lines anew when they become narrower.
int ProgressDisplay::drawnRows(int width) const
{
    int rows = 0;
    for (const int columns : m_drawn)
        rows += qMax(1, (columns + width - 1) / width);
    return rows;
}

void ProgressDisplay::wipe()
{
    if (m_drawn.empty())
        return;
    const int rows = drawnRows(terminalSize().width);
    const QString up = rows > 1 ? QStringLiteral("\033[%1A").arg(rows - 1) : QString();
    write(up + QLatin1String("\r\033[J"));
    m_drawn.clear();
}

QString ProgressDisplay::coloured(const QString &lines) const
{
    if (!m_settings.hasColour)
        return lines;
    QString text = lines;
    if (text.startsWith(QLatin1String("error:")))
        text.replace(0, 6, QStringLiteral("\033[1;31merror:\033[0m"));
    else if (text.startsWith(QLatin1String("warning:")))
        text.replace(0, 8, QStringLiteral("\033[1;33mwarning:\033[0m"));
    return text;
}

void ProgressDisplay::write(const QString &text)
{
    writeStderr(text);
}

} // namespace VESK::Host
