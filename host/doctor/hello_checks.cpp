#include "host/doctor/hello_checks.h"

#include "host/client/ping_report.h"
#include "host/hello/hello_errors.h"
#include "host/text.h"

#include <chrono>
#include <cmath>

namespace VESK::Host
{

namespace
{

using Grade = Finding::Grade;

constexpr int pings = 5;
constexpr double longRoundTripMs = 50; // from here on every exchange of messages is felt
constexpr double wrongClockMs = 2000; // times of files are whole seconds

Finding helloFinding(const HelloFailure &failure, const RemoteAddress &remote)
{
    const Failure told = helloFailure(failure, remote);
    return {QStringLiteral("hello"), Grade::Slow, told.what, told.hints};
}

} // namespace

Finding judgeDelay(const std::vector<PingSample> &samples)
{
    const double roundTripMs = fastestSample(samples).roundTripMs;
    const QString more = roundTripMs < longRoundTripMs
        ? QString()
        : QStringLiteral("; many small files need several connections (-j) to be fast");
    return {QStringLiteral("delay"),
            Grade::Good,
            QStringLiteral("a message and its answer take %1 ms%2")
                .arg(QString::number(roundTripMs, 'f', roundTripMs < 10 ? 1 : 0), more),
            {}};
}

Finding judgeClock(const std::vector<PingSample> &samples)
{
    const PingSample sample = fastestSample(samples);
    const QString check = QStringLiteral("clock");
    const double difference = std::abs(sample.clockDifferenceMs);
    if (difference - sample.roundTripMs / 2 < wrongClockMs)
        return {check, Grade::Good, QStringLiteral("both clocks agree"), {}};
    const QString direction =
        sample.clockDifferenceMs > 0 ? QStringLiteral("ahead of") : QStringLiteral("behind");
    return {check,
            Grade::Note,
            QStringLiteral("the server's clock is %1 %2 ours; transfers do not mind, times in logs differ")
                .arg(durationText(difference / 1000), direction),
            {QStringLiteral("sudo timedatectl set-ntp true     on the one that is wrong")}};
}

std::vector<Finding> checkHello(UDTSOCKET socket, const Visitor &visitor, const RemoteAddress &remote)
{
    if (visitor.moduleKey.isEmpty())
        return {}; // without the module there is nothing to agree on, which is told elsewhere
    HelloFailure failure;
    const std::optional<Welcome> welcome = sayHello(socket, visitor, &failure);
    if (!welcome)
        return {helloFinding(failure, remote)};
    const QString trust = welcome->auth == AuthMode::Token
        ? QStringLiteral("both ends have proved that they know the token")
        : QStringLiteral("the server takes everybody, and has proved nothing");
    std::vector<Finding> findings = {
        {QStringLiteral("hello"),
         Grade::Good,
         QStringLiteral("vesk %1 says hello; %2").arg(escaped(welcome->version), trust),
         {}}};
    MessageChannel channel(socket);
    channel.limit(maxHelloBytes, std::chrono::steady_clock::now() + helloLimit);
    std::vector<PingSample> samples;
    for (int i = 0; i < pings; ++i) {
        if (const std::optional<PingSample> sample = takeSample(channel))
            samples.push_back(*sample);
    }
    if (samples.empty())
        return findings;
    findings.push_back(judgeDelay(samples));
    findings.push_back(judgeClock(samples));
    return findings;
}

} // namespace VESK::Host
