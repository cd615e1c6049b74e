#include "host/server/server_meter.h"

#include <algorithm>

namespace VESK::Host
{

namespace
{

// Words of clients stand in no label; an error type may have come from a handler.
QByteArray label(const char *name, const QString &value)
{
    QByteArray text = value.toUtf8();
    text.replace('\\', "\\\\").replace('"', "\\\"").replace('\n', "\\n");
    return QByteArray(name) + "=\"" + text + '"';
}

QByteArray head(const char *name, const char *kind, const char *help)
{
    return QByteArray("# HELP ") + name + ' ' + help + "\n# TYPE " + name + ' ' + kind + '\n';
}

QByteArray line(const char *name, const QByteArray &labels, const QByteArray &value)
{
    return name + (labels.isEmpty() ? QByteArray() : '{' + labels + '}') + ' ' + value + '\n';
}

QByteArray single(const char *name, const char *kind, const char *help, qint64 value)
{
    return head(name, kind, help) + line(name, {}, QByteArray::number(value));
}

} // namespace

void ServerMeter::addConnection()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_connections;
    ++m_connectionsEver;
}

void ServerMeter::endConnection(qint64 repeatedPackets)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    --m_connections;
    m_repeatedPackets += std::max<qint64>(0, repeatedPackets);
}

void ServerMeter::addTask(const TaskEnd &end)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_tasks[{end.operation, end.succeeded}];
    m_bytes[end.operation] += std::max<qint64>(0, end.bytes);
    if (end.roundTripMs < 0)
        return;
    m_roundTripSeconds += end.roundTripMs / 1000;
    ++m_roundTrips;
}

void ServerMeter::addRefusal(const QString &errorType)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_refusals[errorType];
}

QByteArray ServerMeter::text() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    QByteArray text = single("vesk_connections", "gauge", "Connections that stand.", m_connections);
    text += single("vesk_connections_total", "counter", "Connections ever accepted.", m_connectionsEver);
    text += head("vesk_tasks_total", "counter", "Tasks that have ended.");
    for (const auto &[key, count] : m_tasks)
        text += line("vesk_tasks_total",
                     label("operation", key.first) + ','
                         + label("result", key.second ? QStringLiteral("done") : QStringLiteral("failed")),
                     QByteArray::number(count));
    text += head("vesk_moved_bytes_total", "counter", "Bytes of files that were moved.");
    for (const auto &[operation, bytes] : m_bytes)
        text += line("vesk_moved_bytes_total", label("operation", operation), QByteArray::number(bytes));
    text += head("vesk_refusals_total", "counter", "Requests that were refused, by the reason told.");
    for (const auto &[errorType, count] : m_refusals)
        text += line("vesk_refusals_total", label("reason", errorType), QByteArray::number(count));
    text += single("vesk_repeated_packets_total", "counter",
                   "Packets that this end sent again, of connections that have ended.", m_repeatedPackets);
    text += head("vesk_round_trip_seconds", "summary", "Round trip of a task's connection at its end.");
    text += line("vesk_round_trip_seconds_sum", {}, QByteArray::number(m_roundTripSeconds, 'g', 9));
    text += line("vesk_round_trip_seconds_count", {}, QByteArray::number(m_roundTrips));
    return text;
}

} // namespace VESK::Host
