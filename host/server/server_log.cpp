#include "host/server/server_log.h"

#include "host/event_writer.h"
#include "host/server/log_writer.h"
#include "host/text.h"

#include "vesk_base/vesk_base.h"

#include <unistd.h>

#include <atomic>
#include <memory>
#include <mutex>

namespace VESK::Host
{

namespace
{

std::atomic<bool> showDebug{false};
std::atomic<bool> writesJson{false};
thread_local QString threadClient;

constexpr int queueLimit = 1 << 20; // bytes; some thousand lines

std::mutex writerMutex; // guards the pointer; a call keeps its own reference instead
std::shared_ptr<LogWriter> currentWriter;

std::shared_ptr<LogWriter> exchangeWriter(std::shared_ptr<LogWriter> next)
{
    const std::lock_guard<std::mutex> lock(writerMutex);
    currentWriter.swap(next);
    return next;
}

void writeLine(const QString &line)
{
    std::shared_ptr<LogWriter> writer;
    {
        const std::lock_guard<std::mutex> lock(writerMutex);
        writer = currentWriter;
    }
    if (writer)
        writer->add(line.toUtf8());
    else
        writeStderr(line);
}

} // namespace

ServerLog::ServerLog(bool verbose, Format format)
{
    showDebug = verbose;
    writesJson = format == Format::Json;
    (void)exchangeWriter(std::make_shared<LogWriter>(STDERR_FILENO, queueLimit)); // there was none
    VeskBase::setLogSink(
        [](const VeskBase *, const QString &level, const QString &message) { logServer(level, message); });
}

ServerLog::~ServerLog()
{
    VeskBase::setLogSink({});
    (void)exchangeWriter(nullptr); // its end writes what is queued
    writesJson = false;
}

void logServer(const QString &level, const QString &message)
{
    if (level == QLatin1String("debug") && !showDebug)
        return;
    if (writesJson) {
        QJsonObject fields = {{QStringLiteral("time"), eventTime()},
                              {QStringLiteral("level"), level},
                              {QStringLiteral("message"), message}};
        if (!threadClient.isEmpty())
            fields.insert(QStringLiteral("client"), threadClient);
        writeLine(QString::fromUtf8(eventLine(QStringLiteral("log"), fields)));
        return;
    }
    const QString client = threadClient.isEmpty() ? QStringLiteral("-") : threadClient;
    writeLine(QStringLiteral("%1 %2 %3\n").arg(level.leftJustified(7), client, escaped(message)));
}

LoggedClient::LoggedClient(const QString &address)
{
    threadClient = address;
}

LoggedClient::~LoggedClient()
{
    threadClient.clear();
}

} // namespace VESK::Host
