#include "host/client/ping_sample.h"

#include "host/hello/hello_messages.h"

#include <QtCore/QDateTime>

#include <chrono>

namespace VESK::Host
{

namespace
{

double elapsedMs(std::chrono::steady_clock::time_point begin)
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

} // namespace

std::optional<PingSample> takeSample(MessageChannel &channel)
{
    const auto begin = std::chrono::steady_clock::now();
    const qint64 sentMs = QDateTime::currentMSecsSinceEpoch();
    QString text;
    if (!channel.send(number(HostMessage::Ping), QStringLiteral("?"))
        || !channel.recv(number(HostMessage::Pong), text))
        return std::nullopt;
    const std::optional<qint64> clockMs = readPong(text);
    if (!clockMs)
        return std::nullopt;
    PingSample sample;
    sample.roundTripMs = elapsedMs(begin);
    sample.clockDifferenceMs = static_cast<double>(*clockMs - sentMs) - sample.roundTripMs / 2;
    return sample;
}

} // namespace VESK::Host
