#include "host/server/metrics_file.h"

#include "host/server/server_log.h"

#include <QtCore/QSaveFile>

#include <chrono>

namespace VESK::Host
{

namespace
{

constexpr std::chrono::seconds writingInterval(5);
constexpr QFileDevice::Permissions forAll =
    QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup | QFileDevice::ReadOther;

} // namespace

MetricsFile::MetricsFile(const ServerMeter &meter, const QString &path)
    : m_meter(meter)
    , m_path(path)
{
    if (!path.isEmpty())
        m_writing.emplace([this] { write(); }, writingInterval);
}

MetricsFile::~MetricsFile()
{
    if (!m_writing)
        return;
    m_writing.reset();
    write();
}

void MetricsFile::write()
{
    QSaveFile file(m_path);
    const QByteArray text = m_meter.text();
    const bool isWritten = file.open(QIODevice::WriteOnly) && file.write(text) == text.size()
        && file.setPermissions(forAll) && file.commit();
    if (!isWritten && !m_hasComplained)
        logServer(QStringLiteral("warning"),
                  QStringLiteral("cannot write the metrics to %1: %2").arg(m_path, file.errorString()));
    m_hasComplained = !isWritten;
}

} // namespace VESK::Host
