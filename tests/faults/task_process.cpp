#include "tests/support/udt_pair.h"
#include "tests/support/udt_ports.h"

#include "vesk_2_0_0/handler/vesk_handler_2_0_0.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QStringList>

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cstdint>
#include <cstdio>

// One end of one task, in a process of its own that a test can kill:
//
//     task_process client PORT KEY=VALUE...     connects to a listener on 127.0.0.1
//     task_process server KEY=VALUE...          prints "port N" and accepts one connection
//
// Prints "ready" when it is connected. Ends with 0 when the task succeeded, 1 when it failed and 2 when there
// was no connection.

using namespace VESK;
using namespace VESK::Test;

namespace
{

void say(const QString &line)
{
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

UDTSOCKET connectTo(quint16 port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return newConnection(reinterpret_cast<const sockaddr *>(&address));
}

UDTSOCKET acceptOne()
{
    const auto *const address = reinterpret_cast<const sockaddr_in *>(listenerAddress());
    say(QStringLiteral("port %1").arg(ntohs(address->sin_port)));
    return UDT::accept(listener(), nullptr, nullptr);
}

int runTask(const QString &endPoint, UDTSOCKET socket, const QStringList &settings)
{
    std::int64_t total = 0;
    std::int64_t done = 0;
    VeskHandler2_0_0 handler;
    bool isSet = handler.setParams({{"endPoint", endPoint},
                                    {endPoint + "Socket", QString::number(socket)},
                                    {"total", QString::number(reinterpret_cast<std::uintptr_t>(&total))},
                                    {"offset", QString::number(reinterpret_cast<std::uintptr_t>(&done))}});
    for (const QString &setting : settings)
        isSet = handler.setParam(setting.section('=', 0, 0), setting.section('=', 1)) && isSet;
    say("ready");
    const bool succeeded = isSet && handler.process();
    (void)waitUntilDelivered(socket); // a broken connection has nothing to deliver
    UDT::close(socket);
    return succeeded ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    QStringList arguments = QCoreApplication::arguments().mid(1);
    UDT::startup();
    openUdtPorts();
    const QString endPoint = arguments.takeFirst();
    const UDTSOCKET socket = endPoint == "client" ? connectTo(arguments.takeFirst().toUShort()) : acceptOne();
    const int result = socket == UDT::INVALID_SOCK ? 2 : runTask(endPoint, socket, arguments);
    UDT::cleanup();
    return result;
}
