#include "host/progress_lines.h"

#include "host/columns.h"
#include "host/text.h"

namespace VESK::Host
{

namespace
{

// From these widths on a line has room for more.
constexpr int widthForRate = 30;
constexpr int widthForBytes = 60;
constexpr int widthForWords = 100;

constexpr int shortestName = 8; // columns
constexpr int percentColumns = 4;
constexpr int rateColumns = 12; // 1023.9 MiB/s
constexpr int timeColumns = 8; // 99:59:59
constexpr int shortBytesColumns = 19; // 1023.9 / 1023.9 MiB
constexpr int bytesColumns = 24; // 1023.9 MiB of 1023.9 MiB

// One line in the making: what it is about, and the facts that stand in columns behind it.
struct Row {
    QString name;
    QString facts;
};

// Numbers as they are known; -1 where they are not.
struct Numbers {
    int percent = -1;
    qint64 done = 0; // bytes
    qint64 total = -1; // bytes
    double bytesPerSecond = 0;
    double secondsLeft = -1;
};

QString percentText(int percent)
{
    return percent < 0 ? QString() : QString::number(percent) + QLatin1Char('%');
}

// "512.0 / 1023.9 MiB": both in the unit of the second.
QString shortBytesText(qint64 done, qint64 total)
{
    if (total < 0)
        return bytesText(done);
    const QString whole = bytesText(total);
    const QString unit = whole.section(QLatin1Char(' '), 1);
    double value = static_cast<double>(done);
    qint64 scale = total;
    for (; scale >= 1024; scale /= 1024)
        value /= 1024;
    return QStringLiteral("%1 / %2").arg(QString::number(value, 'f', total < 1024 ? 0 : 1), whole);
}

QString longBytesText(qint64 done, qint64 total)
{
    return total < 0 ? bytesText(done) : QStringLiteral("%1 of %2").arg(bytesText(done), bytesText(total));
}

void append(QString *facts, const QString &text, int columns)
{
    if (!facts->isEmpty())
        *facts += QLatin1String("  ");
    *facts += text.rightJustified(columns);
}

QString numberFacts(const Numbers &numbers, int width)
{
    QString facts;
    append(&facts, percentText(numbers.percent), percentColumns);
    if (width >= widthForWords)
        append(&facts, longBytesText(numbers.done, numbers.total), bytesColumns);
    else if (width >= widthForBytes)
        append(&facts, shortBytesText(numbers.done, numbers.total), shortBytesColumns);
    if (width >= widthForRate)
        append(&facts, rateText(numbers.bytesPerSecond), rateColumns);
    if (width < widthForBytes)
        return facts;
    const QString time = numbers.secondsLeft < 0 ? QString() : durationText(numbers.secondsLeft);
    append(&facts, time, timeColumns);
    if (width >= widthForWords && !time.isEmpty())
        facts += QLatin1String(" left");
    return facts;
}

Row taskRow(const RunProgress::Task &task, int width)
{
    const ProgressView &view = task.view;
    if (isMoving(view.phase))
        return {task.name,
                numberFacts({view.percent, view.arrived, view.total, view.bytesPerSecond, view.secondsLeft},
                            width)};
    const bool hasMoved = view.phase == Phase::Verifying;
    QString facts;
    append(&facts, hasMoved ? percentText(view.percent) : QString(), percentColumns);
    return {task.name, facts + QLatin1String("  ") + phaseName(view.phase)};
}

Numbers totalNumbers(const RunProgress &run)
{
    Numbers numbers;
    numbers.done = run.bytesDone;
    numbers.bytesPerSecond = run.bytesPerSecond;
    if (!run.allAreKnown || run.bytesKnown < 0)
        return numbers;
    numbers.total = run.bytesKnown;
    numbers.secondsLeft = run.secondsLeft;
    const bool isDone = run.filesDone >= run.filesKnown;
    const qint64 percent = run.bytesKnown > 0 ? run.bytesDone * 100 / run.bytesKnown : 0;
    numbers.percent = isDone ? 100 : static_cast<int>(qMin<qint64>(99, percent));
    return numbers;
}

QString filesText(const RunProgress &run)
{
    const QString more = run.allAreKnown ? QString() : QStringLiteral("+");
    return QStringLiteral("%1 of %2%3 files")
        .arg(QString::number(run.filesDone), QString::number(run.filesKnown), more);
}

Row totalRow(const RunProgress &run, int width, int taskLines)
{
    QString name = filesText(run);
    const int unseen = static_cast<int>(run.tasks.size()) - taskLines;
    if (unseen > 0 && width >= widthForWords)
        name += QStringLiteral(", %1 more running").arg(unseen);
    return {name, numberFacts(totalNumbers(run), width)};
}

bool isOneFile(const RunProgress &run)
{
    return run.filesKnown <= 1 && run.tasks.size() <= 1;
}

QStringList laidOut(const std::vector<Row> &rows, int width)
{
    int nameColumns = shortestName;
    int factColumns = 0;
    for (const Row &row : rows) {
        nameColumns = qMax(nameColumns, columnsOf(row.name));
        factColumns = qMax(factColumns, columnsOf(row.facts));
    }
    nameColumns = qMin(nameColumns, qMax(shortestName, width - 1 - 2 - factColumns));
    QStringList lines;
    for (const Row &row : rows)
        lines << (filled(row.name, nameColumns) + QLatin1String("  ") + row.facts);
    for (QString &line : lines) {
        while (columnsOf(line) >= width && !line.isEmpty())
            line.chop(1);
    }
    return lines;
}

QString numberSentence(const Numbers &numbers)
{
    QStringList parts;
    if (numbers.percent >= 0)
        parts << percentText(numbers.percent);
    parts << longBytesText(numbers.done, numbers.total) << rateText(numbers.bytesPerSecond);
    if (numbers.secondsLeft >= 0)
        parts << QStringLiteral("%1 left").arg(durationText(numbers.secondsLeft));
    return parts.join(QStringLiteral(", "));
}

QString taskSentence(const RunProgress::Task &task)
{
    const ProgressView &view = task.view;
    if (!isMoving(view.phase))
        return QStringLiteral("%1: %2").arg(task.name, phaseName(view.phase));
    return QStringLiteral("%1: %2, %3")
        .arg(task.name, phaseName(view.phase),
             numberSentence({view.percent, view.arrived, view.total, view.bytesPerSecond, view.secondsLeft}));
}

QString totalSentence(const RunProgress &run)
{
    return QStringLiteral("%1: %2").arg(filesText(run), numberSentence(totalNumbers(run)));
}

} // namespace

QStringList progressLines(const RunProgress &run, int width, int height)
{
    const bool hasTotal = !isOneFile(run);
    const int room = qMax(0, height - 1 - (hasTotal ? 1 : 0));
    const int taskLines = qMin(static_cast<int>(run.tasks.size()), qMin(maxTaskLines, room));
    std::vector<Row> rows;
    rows.reserve(static_cast<std::size_t>(taskLines) + 1);
    for (int i = 0; i < taskLines; ++i)
        rows.push_back(taskRow(run.tasks[static_cast<std::size_t>(i)], width));
    if (hasTotal)
        rows.push_back(totalRow(run, width, taskLines));
    return laidOut(rows, width);
}

QString progressSentence(const RunProgress &run)
{
    return isOneFile(run) && !run.tasks.empty() ? taskSentence(run.tasks.front()) : totalSentence(run);
}

QString progressStatus(const RunProgress &run)
{
    QString text = QStringLiteral("status after %1: %2\n").arg(durationText(run.seconds), totalSentence(run));
    for (const RunProgress::Task &task : run.tasks)
        text += QStringLiteral("  %1\n").arg(taskSentence(task));
    return text;
}

} // namespace VESK::Host
