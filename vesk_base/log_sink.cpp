#include "vesk_base/log_sink.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QMutex>
#include <QtCore/QMutexLocker>

#include <memory>

namespace VESK
{

namespace
{

Q_LOGGING_CATEGORY(taskCategory, "vesk.task")

QMutex sinkMutex; // guards the pointer; a call of the sink keeps its own reference instead
std::shared_ptr<const LogSink> currentSink;

void writeToCategory(const QString &level, const QString &message)
{
    if (level == QLatin1String("error"))
        qCCritical(taskCategory, "%ls", qUtf16Printable(message));
    else if (level == QLatin1String("warning"))
        qCWarning(taskCategory, "%ls", qUtf16Printable(message));
    else if (level == QLatin1String("info"))
        qCInfo(taskCategory, "%ls", qUtf16Printable(message));
    else
        qCDebug(taskCategory, "%ls", qUtf16Printable(message));
}

} // namespace

void setLogSink(LogSink sink)
{
    auto next = sink ? std::make_shared<const LogSink>(std::move(sink)) : nullptr;
    const QMutexLocker lock(&sinkMutex);
    currentSink.swap(next);
}

void writeLog(const VeskBase *handler, const QString &level, const QString &message)
{
    std::shared_ptr<const LogSink> sink;
    {
        const QMutexLocker lock(&sinkMutex);
        sink = currentSink;
    }
    if (sink)
        (*sink)(handler, level, message);
    else
        writeToCategory(level, message);
}

} // namespace VESK
