#include "host/client/ping_report.h"

#include "host/text.h"

#include <QtCore/QJsonArray>

#include <algorithm>
#include <cmath>

namespace VESK::Host
{

namespace
{

QString milliseconds(double value)
{
    return QString::number(value, 'f', value < 10 ? 2 : 1);
}

QString line(const QString &name, const QString &value)
{
    return QStringLiteral("%1 %2\n").arg(name.leftJustified(12), value);
}

QString clockText(const PingSample &sample)
{
    const double difference = sample.clockDifferenceMs;
    if (std::abs(difference) <= sample.roundTripMs / 2 + 1)
        return QStringLiteral("agree within %1 ms").arg(milliseconds(sample.roundTripMs / 2 + 1));
    const QString direction = difference > 0 ? QStringLiteral("ahead of") : QStringLiteral("behind");
    return QStringLiteral("the server's is %1 s %2 ours")
        .arg(QString::number(std::abs(difference) / 1000, 'f', 3), direction);
}

QString trustText(const Welcome &welcome)
{
    if (welcome.auth == AuthMode::Token)
        return QStringLiteral("both ends have proved that they know the token of %1")
            .arg(escaped(welcome.tokenFile));
    return QStringLiteral("none: the server takes everybody, and has proved nothing");
}

QString sharesText(const std::vector<OfferedShare> &shares)
{
    if (shares.empty())
        return line(QStringLiteral("shares"), QStringLiteral("none"));
    QString text;
    for (const OfferedShare &share : shares)
        text +=
            line(text.isEmpty() ? QStringLiteral("shares") : QString(),
                 QStringLiteral("%1 %2").arg(rightsText(share.rights).leftJustified(2), escaped(share.name)));
    return text;
}

} // namespace

PingSample fastestSample(const std::vector<PingSample> &samples)
{
    return *std::min_element(samples.begin(), samples.end(), [](const PingSample &a, const PingSample &b) {
        return a.roundTripMs < b.roundTripMs;
    });
}

double medianRoundTripMs(const std::vector<PingSample> &samples)
{
    std::vector<double> times;
    times.reserve(samples.size());
    for (const PingSample &sample : samples)
        times.push_back(sample.roundTripMs);
    std::sort(times.begin(), times.end());
    const std::size_t middle = times.size() / 2;
    return times.size() % 2 == 1 ? times[middle] : (times[middle - 1] + times[middle]) / 2;
}

QString pingText(const PingResult &result, const RemoteAddress &remote)
{
    const PingSample fastest = fastestSample(result.samples);
    return QStringLiteral("%1 (%2) answers.\n").arg(escaped(remote.host), result.address.text())
        + line(QStringLiteral("version"),
               QStringLiteral("vesk %1, module %2")
                   .arg(escaped(result.welcome.version), escaped(result.welcome.moduleKey)))
        + line(QStringLiteral("round trip"),
               QStringLiteral("%1 ms at best, %2 ms median of %3")
                   .arg(milliseconds(fastest.roundTripMs), milliseconds(medianRoundTripMs(result.samples)),
                        QString::number(result.samples.size())))
        + line(QStringLiteral("packets"), QStringLiteral("%1 bytes").arg(result.packetSize))
        + line(QStringLiteral("clocks"), clockText(fastest))
        + line(QStringLiteral("trust"), trustText(result.welcome)) + sharesText(result.welcome.shares)
        + line(QStringLiteral("encryption"),
               QStringLiteral(
                   "none: names and contents can be read on the way; docs/security.md has a recipe"));
}

QJsonObject pingFields(const PingResult &result, const RemoteAddress &remote)
{
    QJsonArray shares;
    for (const OfferedShare &share : result.welcome.shares)
        shares.append(QJsonObject{{QStringLiteral("name"), share.name},
                                  {QStringLiteral("rights"), rightsText(share.rights)}});
    QJsonArray samples;
    for (const PingSample &sample : result.samples)
        samples.append(sample.roundTripMs);
    const PingSample fastest = fastestSample(result.samples);
    return {
        {QStringLiteral("host"), remote.host},
        {QStringLiteral("address"), result.address.hostText()},
        {QStringLiteral("port"), result.address.port()},
        {QStringLiteral("version"), result.welcome.version},
        {QStringLiteral("module"), result.welcome.moduleKey},
        {QStringLiteral("verifyModes"), QJsonArray::fromStringList(result.welcome.verifyModes)},
        {QStringLiteral("auth"),
         result.welcome.auth == AuthMode::Token ? QStringLiteral("token") : QStringLiteral("none")},
        {QStringLiteral("roundTripMs"),
         QJsonObject{{QStringLiteral("min"), fastest.roundTripMs},
                     {QStringLiteral("median"), medianRoundTripMs(result.samples)},
                     {QStringLiteral("samples"), samples}}},
        {QStringLiteral("clockDifferenceMs"), fastest.clockDifferenceMs},
        {QStringLiteral("packetSize"), result.packetSize},
        {QStringLiteral("shares"), shares},
        {QStringLiteral("encrypted"), false},
    };
}

} // namespace VESK::Host
