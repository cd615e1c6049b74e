#include "host/client/transfer_summary.h"

#include "host/text.h"

#include <QtCore/QStringList>

namespace VESK::Host
{

void TransferSummary::addFailure(ExitCode code)
{
    ++failed;
    exitCode = combinedExitCode(exitCode, code);
}

namespace
{

QString planText(const TransferSummary &summary)
{
    const QString file = QStringLiteral("file");
    const QString verb = summary.isDownload() ? QStringLiteral("receive") : QStringLiteral("send");
    const QString size = summary.knowsPlannedBytes
        ? QStringLiteral(" (%1)").arg(bytesText(summary.plannedBytes))
        : QStringLiteral(" (a listing tells no sizes)");
    QStringList parts;
    parts << QStringLiteral("would %1 %2%3").arg(verb, countText(summary.planned, file), size);
    if (summary.plannedDirectories > 0)
        parts << QStringLiteral("%1 empty directories").arg(summary.plannedDirectories);
    if (summary.kept > 0)
        parts << QStringLiteral("leave %1 alone").arg(countText(summary.kept, file));
    if (summary.skipped > 0)
        parts << QStringLiteral("%1 skipped").arg(summary.skipped);
    if (summary.failed > 0)
        parts << QStringLiteral("%1 failed").arg(countText(summary.failed, file));
    QString text = parts.join(QStringLiteral(", "));
    if (summary.plannedThere > 0)
        text += QStringLiteral("\nnote: of these names, %1 there already; such files are compared first, and "
                               "moved only where they differ.")
                    .arg(summary.plannedThere == 1 ? QStringLiteral("1 is")
                                                   : QStringLiteral("%1 are").arg(summary.plannedThere));
    return text;
}

QString verificationText(const QString &mode)
{
    return mode == QLatin1String("none") ? QStringLiteral("not verified")
                                         : QStringLiteral("verified with %1").arg(mode);
}

double bytesPerSecond(const TransferSummary &summary)
{
    return summary.seconds > 0 ? static_cast<double>(summary.movedBytes) / summary.seconds : 0;
}

QJsonObject transferFields(const TransferSummary &summary)
{
    const QString verb = summary.isDownload() ? QStringLiteral("received") : QStringLiteral("sent");
    return {
        {verb, summary.placed},
        {QStringLiteral("alreadyThere"), summary.alreadyThere},
        {QStringLiteral("kept"), summary.kept},
        {QStringLiteral("skipped"), summary.skipped},
        {QStringLiteral("hidden"), summary.hidden},
        {verb + QStringLiteral("Bytes"), summary.placedBytes},
        {QStringLiteral("movedBytes"), summary.movedBytes},
        {QStringLiteral("resumedBytes"), summary.resumedBytes},
        {QStringLiteral("skippedBytes"), summary.skippedBytes},
        {QStringLiteral("bytesPerSecond"), bytesPerSecond(summary)},
        {QStringLiteral("verify"), summary.verifyMode},
    };
}

QJsonObject planFields(const TransferSummary &summary)
{
    return {
        {QStringLiteral("dryRun"), true},
        {QStringLiteral("planned"), summary.planned},
        {QStringLiteral("plannedDirectories"), summary.plannedDirectories},
        {QStringLiteral("plannedBytes"), summary.knowsPlannedBytes ? summary.plannedBytes : -1},
        {QStringLiteral("there"), summary.plannedThere},
        {QStringLiteral("kept"), summary.kept},
        {QStringLiteral("skipped"), summary.skipped},
        {QStringLiteral("failed"), summary.failed},
        {QStringLiteral("exitCode"), number(summary.exitCode)},
    };
}

} // namespace

QString summaryText(const TransferSummary &summary)
{
    if (summary.isDryRun)
        return planText(summary);
    const QString file = QStringLiteral("file");
    const QString verb = summary.isDownload() ? QStringLiteral("received") : QStringLiteral("sent");
    QStringList parts;
    parts << QStringLiteral("%1 %2 (%3 moved)")
                 .arg(countText(summary.placed, file), verb, bytesText(summary.movedBytes));
    if (summary.resumedBytes > 0)
        parts << QStringLiteral("%1 saved by resuming").arg(bytesText(summary.resumedBytes));
    if (summary.alreadyThere > 0)
        parts << QStringLiteral("%1 already there (%2 saved)")
                     .arg(countText(summary.alreadyThere, file), bytesText(summary.skippedBytes));
    if (summary.kept > 0)
        parts << QStringLiteral("%1 left alone").arg(countText(summary.kept, file));
    if (summary.skipped > 0)
        parts << QStringLiteral("%1 skipped").arg(summary.skipped);
    if (summary.failed > 0)
        parts << QStringLiteral("%1 failed").arg(countText(summary.failed, file));
    if (!summary.verifyMode.isEmpty() && summary.placed + summary.alreadyThere > 0)
        parts << verificationText(summary.verifyMode);
    parts << durationText(summary.seconds);
    if (summary.movedBytes > 0 && summary.seconds > 0)
        parts << rateText(bytesPerSecond(summary));
    QString text = parts.join(QStringLiteral(", "));
    if (summary.hidden > 0)
        text += QStringLiteral("\nnote: %1 there now that no listing shows: their names, or those of "
                               "directories above them, begin with a dot. `vesk get` takes each by name.")
                    .arg(countText(summary.hidden, QStringLiteral("hidden file")));
    return text;
}

QJsonObject summaryFields(const TransferSummary &summary)
{
    if (summary.isDryRun)
        return planFields(summary);
    QJsonObject fields = summary.direction == Direction::None ? QJsonObject() : transferFields(summary);
    if (summary.listed >= 0)
        fields.insert(QStringLiteral("listed"), summary.listed);
    else
        fields.insert(QStringLiteral("directories"), summary.directories);
    fields.insert(QStringLiteral("failed"), summary.failed);
    fields.insert(QStringLiteral("seconds"), summary.seconds);
    fields.insert(QStringLiteral("exitCode"), number(summary.exitCode));
    return fields;
}

} // namespace VESK::Host
