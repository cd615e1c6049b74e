#pragma once

#include "host/server/repeater.h"
#include "host/server/server_meter.h"

#include <QtCore/QString>

#include <optional>

namespace VESK::Host
{

/// Keeps a file up to date with what a meter counts, for the textfile collector of Prometheus' node exporter:
/// at once, every few seconds on a thread of its own, and at its end. The file is replaced as a whole each
/// time. That it cannot be written is told in the server's log, once.
class MetricsFile
{
public:
    /// The meter outlives it. An empty path: nothing is written.
    MetricsFile(const ServerMeter &meter, const QString &path);
    ~MetricsFile();
    MetricsFile(const MetricsFile &) = delete;
    MetricsFile &operator=(const MetricsFile &) = delete;

private:
    void write();

    const ServerMeter &m_meter;
    const QString m_path;
    bool m_hasComplained = false;
    std::optional<Repeater> m_writing;
};

} // namespace VESK::Host
