#include "transport/kernel_buffers.h"

#include <QtCore/QStringList>

#include <sys/socket.h>
#include <unistd.h>

#include <array>

namespace VESK
{

namespace
{

struct Buffer {
    const char *setting; // below net.core; empty where the system has none
    int option;
    int forcedOption;
    int wanted; // bytes
};

std::array<Buffer, 2> buffersOf(const TransportOptions &options)
{
#ifdef SO_RCVBUFFORCE
    return {{{"rmem_max", SO_RCVBUF, SO_RCVBUFFORCE, options.udpReceiveBuffer},
             {"wmem_max", SO_SNDBUF, SO_SNDBUFFORCE, options.udpSendBuffer}}};
#else
    return {{{"", SO_RCVBUF, SO_RCVBUF, options.udpReceiveBuffer},
             {"", SO_SNDBUF, SO_SNDBUF, options.udpSendBuffer}}};
#endif
}

void raise(int socket, const Buffer &buffer)
{
    // Each grants what it can; less is told by kernelBufferShortage.
    if (::setsockopt(socket, SOL_SOCKET, buffer.forcedOption, &buffer.wanted, sizeof buffer.wanted) != 0)
        (void)::setsockopt(socket, SOL_SOCKET, buffer.option, &buffer.wanted, sizeof buffer.wanted);
}

// In the system's terms, which counts twice what was asked for.
int granted(int socket, const Buffer &buffer)
{
    int size = 0;
    socklen_t length = sizeof size;
    return ::getsockopt(socket, SOL_SOCKET, buffer.option, &size, &length) == 0 ? size / 2 : buffer.wanted;
}

} // namespace

KernelBufferShortage kernelBufferShortage(const TransportOptions &options)
{
    KernelBufferShortage shortage;
    const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (socket < 0)
        return shortage;
    raiseKernelBuffers(socket, options);
    QStringList settings;
    for (const Buffer &buffer : buffersOf(options)) {
        const qint64 limit = granted(socket, buffer);
        if (limit >= buffer.wanted || *buffer.setting == 0)
            continue;
        settings.append(QStringLiteral("net.core.%1=%2")
                            .arg(QLatin1String(buffer.setting), QString::number(buffer.wanted)));
        shortage.limit = shortage.limit == 0 ? limit : qMin(shortage.limit, limit);
    }
    ::close(socket);
    if (!settings.isEmpty())
        shortage.command = QStringLiteral("sysctl -w %1").arg(settings.join(QLatin1Char(' ')));
    return shortage;
}

void raiseKernelBuffers(int socket, const TransportOptions &options)
{
    for (const Buffer &buffer : buffersOf(options))
        raise(socket, buffer);
}

} // namespace VESK
