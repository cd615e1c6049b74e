#include "host/client/progress_events.h"

#include "host/event_writer.h"

#include <QtCore/QJsonArray>

namespace VESK::Host
{

namespace
{

QString phaseWord(Phase phase)
{
    return phase == Phase::Waiting ? QStringLiteral("waiting") : phaseName(phase);
}

QJsonObject taskFields(const RunProgress::Task &task)
{
    const ProgressView &view = task.view;
    QJsonObject fields = {
        {QStringLiteral("name"), task.name},       {QStringLiteral("phase"), phaseWord(view.phase)},
        {QStringLiteral("size"), view.total},      {QStringLiteral("bytesDone"), view.arrived},
        {QStringLiteral("percent"), view.percent}, {QStringLiteral("bytesPerSecond"), view.bytesPerSecond}};
    if (view.secondsLeft >= 0)
        fields.insert(QStringLiteral("secondsLeft"), view.secondsLeft);
    return fields;
}

} // namespace

QJsonObject progressFields(const RunProgress &run)
{
    QJsonArray tasks;
    for (const RunProgress::Task &task : run.tasks)
        tasks.append(taskFields(task));
    QJsonObject fields = {{QStringLiteral("filesDone"), run.filesDone},
                          {QStringLiteral("filesKnown"), run.filesKnown},
                          {QStringLiteral("allKnown"), run.allAreKnown},
                          {QStringLiteral("bytesDone"), run.bytesDone},
                          {QStringLiteral("movedBytes"), run.bytesMoved},
                          {QStringLiteral("bytesPerSecond"), run.bytesPerSecond},
                          {QStringLiteral("seconds"), run.seconds},
                          {QStringLiteral("tasks"), tasks}};
    if (run.bytesKnown >= 0)
        fields.insert(QStringLiteral("bytesKnown"), run.bytesKnown);
    if (run.secondsLeft >= 0)
        fields.insert(QStringLiteral("secondsLeft"), run.secondsLeft);
    return fields;
}

void writeProgressEvent(const RunProgress &run)
{
    writeEventLine(QStringLiteral("progress"), progressFields(run));
}

} // namespace VESK::Host
