#include "host/server/partial_sweep.h"

#include "host/server/partial_files.h"
#include "host/server/server_log.h"
#include "host/text.h"

#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QStringList>

#include <chrono>

namespace VESK::Host
{

namespace
{

constexpr std::chrono::hours sweepInterval(1);

} // namespace

PartialSweep::PartialSweep(const ServerSettings &settings, std::function<bool(const QString &)> isInUse)
    : m_settings(settings)
    , m_isInUse(std::move(isInUse))
{
    if (m_settings.partialsMaxAgeSeconds > 0)
        m_sweeping.emplace([this] { sweep(); }, sweepInterval);
}

void PartialSweep::sweep()
{
    const auto maxAgeMs = static_cast<qint64>(m_settings.partialsMaxAgeSeconds * 1000);
    const QDateTime oldest = QDateTime::currentDateTime().addMSecs(-maxAgeMs);
    for (const Share &share : m_settings.shares) {
        qint64 kept = 0;
        qint64 keptBytes = 0;
        const QStringList partials = findPartialFiles(share.directory);
        for (const QString &path : partials) {
            const QFileInfo file(path);
            const bool isOld = file.lastModified() < oldest && !m_isInUse(path);
            if (isOld && QFile::remove(path)) {
                logServer(QStringLiteral("info"),
                          QStringLiteral("removed the partial copy %1 (%2): nobody went on with it")
                              .arg(path, bytesText(file.size())));
                continue;
            }
            ++kept;
            keptBytes += file.size();
        }
        if (kept > 0)
            logServer(QStringLiteral("info"),
                      QStringLiteral("share %1 holds %2 of %3")
                          .arg(share.name, countText(kept, QStringLiteral("partial upload")),
                               bytesText(keptBytes)));
    }
}

} // namespace VESK::Host
