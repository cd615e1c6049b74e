#include "host/client/upload_summary.h"

#include "host/text.h"

#include <QtCore/QStringList>

namespace VESK::Host
{

void UploadSummary::addFailure(ExitCode code)
{
    ++failed;
    exitCode = combinedExitCode(exitCode, code);
}

QString summaryText(const UploadSummary &summary)
{
    const QString file = QStringLiteral("file");
    QStringList parts;
    parts << QStringLiteral("%1 sent (%2 moved)")
                 .arg(countText(summary.placed, file), bytesText(summary.movedBytes));
    if (summary.resumedBytes > 0)
        parts << QStringLiteral("%1 resumed").arg(bytesText(summary.resumedBytes));
    if (summary.alreadyThere > 0)
        parts << QStringLiteral("%1 already there (%2)")
                     .arg(countText(summary.alreadyThere, file), bytesText(summary.skippedBytes));
    if (summary.failed > 0)
        parts << QStringLiteral("%1 failed").arg(countText(summary.failed, file));
    parts << durationText(summary.seconds);
    if (summary.movedBytes > 0 && summary.seconds > 0)
        parts << rateText(static_cast<double>(summary.movedBytes) / summary.seconds);
    return parts.join(QStringLiteral(", "));
}

QJsonObject summaryFields(const UploadSummary &summary)
{
    return {
        {QStringLiteral("sent"), summary.placed},
        {QStringLiteral("alreadyThere"), summary.alreadyThere},
        {QStringLiteral("failed"), summary.failed},
        {QStringLiteral("sentBytes"), summary.placedBytes},
        {QStringLiteral("movedBytes"), summary.movedBytes},
        {QStringLiteral("resumedBytes"), summary.resumedBytes},
        {QStringLiteral("skippedBytes"), summary.skippedBytes},
        {QStringLiteral("seconds"), summary.seconds},
        {QStringLiteral("exitCode"), number(summary.exitCode)},
    };
}

} // namespace VESK::Host
