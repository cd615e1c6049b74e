#include "transport/kernel_buffers.h"

#include <QtCore/QFile>
#include <QtCore/QStringList>

namespace VESK
{

namespace
{

// Linux tells it there; elsewhere nothing is known, and nothing is said.
qint64 limitOf(const QString &setting)
{
    QFile file(QStringLiteral("/proc/sys/net/core/%1").arg(setting));
    return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed().toLongLong() : 0;
}

} // namespace

KernelBufferShortage kernelBufferShortage(const TransportOptions &options)
{
    const QString receiving = QStringLiteral("rmem_max");
    const QString sending = QStringLiteral("wmem_max");
    KernelBufferShortage shortage;
    QStringList settings;
    for (const auto &[setting, wanted] :
         {std::pair(receiving, options.udpReceiveBuffer), std::pair(sending, options.udpSendBuffer)}) {
        const qint64 limit = limitOf(setting);
        if (limit <= 0 || limit >= wanted)
            continue;
        settings.append(QStringLiteral("net.core.%1=%2").arg(setting, QString::number(wanted)));
        shortage.limit = shortage.limit == 0 ? limit : qMin(shortage.limit, limit);
    }
    if (!settings.isEmpty())
        shortage.command = QStringLiteral("sysctl -w %1").arg(settings.join(QLatin1Char(' ')));
    return shortage;
}

} // namespace VESK
