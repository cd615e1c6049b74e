// A host in one file: it loads the handler module and uploads a file to a server of its own, over UDT on
// this machine. docs/embedding.md goes through it.
//
// Usage: embedding MODULE FILE DIRECTORY

#include "vesk_base/message_channel.h"
#include "vesk_base/module.h"

#include <QtCore/QFileInfo>

#include <udt/udt.h>

#include <cstdio>
#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>

using namespace VESK;

namespace
{

QString decimal(std::int64_t number)
{
    return QString::number(number);
}

/// The address of a counter, as handlers take it.
QString addressOf(std::int64_t *counter)
{
    return QString::number(reinterpret_cast<std::uintptr_t>(counter));
}

/// With the library's default linger a `pause` or `cancel` could block for minutes. Accepted sockets have
/// the listener's setting. It must be set before the task: during a bulk transfer the call would wait.
void switchLinger(UDTSOCKET socket, bool on)
{
    const linger value{on ? 1 : 0, on ? 5 : 0}; // seconds
    UDT::setsockopt(socket, 0, UDT_LINGER, &value, sizeof value);
}

sockaddr_in loopback(in_port_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = port;
    return address;
}

/// A peer that negotiates packets without room for data would make the library divide by zero.
bool hasUsablePackets(UDTSOCKET socket)
{
    int packetSize = 0; // bytes
    int size = sizeof packetSize;
    return UDT::getsockopt(socket, 0, UDT_MSS, &packetSize, &size) != UDT::ERROR && packetSize >= 500;
}

/// One task of a client. False when the connection is at its end.
bool serveTask(const Module &module, UDTSOCKET socket, const QString &directory)
{
    const Module::Handler handler = module.createHandler();
    handler->setParam("endPoint", "server");
    handler->setParam("serverSocket", decimal(socket));
    handler->setParam("mountPath", directory);
    handler->setParam("appPath", "files:/."); // one share, "files": the mount path itself
    handler->setParam("fileMod", "0640");
    handler->setParam("dirMod", "0750");
    if (handler->process())
        return true;

    // A task that failed before its answer has sent none: the client still waits for one.
    const bool answered = handler->hasSent(MessageKind::TaskParamAck);
    if (!answered && handler->getLastError() != "return") {
        const ParamMap refusal{{"ackRespond", "false"}, {"errorType", "ServerError"}};
        return handler->send(number(MessageKind::TaskParamAck), VeskBase::serializeParam(refusal));
    }
    return false;
}

void serve(const Module &module, UDTSOCKET listener, const QString &directory)
{
    const UDTSOCKET socket = UDT::accept(listener, nullptr, nullptr);
    if (socket == UDT::INVALID_SOCK)
        return;
    while (hasUsablePackets(socket) && serveTask(module, socket, directory)) {
        // A connection carries one task after another.
    }
    UDT::close(socket);
}

bool upload(const Module &module, UDTSOCKET socket, const QString &path)
{
    std::int64_t total = -1; // bytes; both are written while the task runs, and may be read meanwhile
    std::int64_t done = -1;
    const QFileInfo file(path);

    const Module::Handler handler = module.createHandler();
    handler->setParams({{"endPoint", "client"},
                        {"operator", "upload"},
                        {"clientSocket", decimal(socket)},
                        {"srcPath", file.absolutePath()},
                        {"fileName", file.fileName()},
                        {"rootPath", ""},
                        {"destPath", ""},
                        {"appKey", "files"},
                        {"appVersion", "1"},
                        {"userName", "example"},
                        {"bVerify", "sha256"},
                        {"bReplace", "false"},
                        {"total", addressOf(&total)},
                        {"offset", addressOf(&done)}});
    const bool succeeded = handler->process();
    std::printf("%s: %lld of %lld bytes %s\n", qPrintable(file.fileName()), static_cast<long long>(done),
                static_cast<long long>(total), succeeded ? "in place" : qPrintable(handler->getLastError()));

    // No further task: the server leaves its loop and closes.
    MessageChannel channel(socket);
    return channel.send(number(MessageKind::TaskParam), VeskBase::serializeParam({{"operator", "return"}}))
        && succeeded;
}

int run(const Module &module, const QString &path, const QString &directory)
{
    const UDTSOCKET listener = UDT::socket(AF_INET, SOCK_STREAM, 0);
    switchLinger(listener, false);
    sockaddr_in address = loopback(0);
    int length = sizeof address;
    if (UDT::bind(listener, reinterpret_cast<sockaddr *>(&address), length) == UDT::ERROR
        || UDT::listen(listener, 1) == UDT::ERROR
        || UDT::getsockname(listener, reinterpret_cast<sockaddr *>(&address), &length) == UDT::ERROR)
        return 1;
    std::thread server([&] { serve(module, listener, directory); });

    const UDTSOCKET socket = UDT::socket(AF_INET, SOCK_STREAM, 0);
    switchLinger(socket, false);
    const sockaddr_in target = loopback(address.sin_port);
    const bool connected =
        UDT::connect(socket, reinterpret_cast<const sockaddr *>(&target), sizeof target) != UDT::ERROR;
    const bool succeeded = connected && upload(module, socket, path);
    switchLinger(socket, true); // so that the last message still arrives
    UDT::close(socket);
    if (!connected)
        UDT::close(listener); // wakes the accept
    server.join();
    UDT::close(listener);
    return succeeded ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "Usage: embedding MODULE FILE DIRECTORY\n");
        return 2;
    }
    QString error;
    const auto module = Module::load(QString::fromLocal8Bit(argv[1]), &error);
    if (!module) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    UDT::startup(); // by the host, once; handlers never call it
    const int result = run(*module, QString::fromLocal8Bit(argv[2]), QString::fromLocal8Bit(argv[3]));
    UDT::cleanup();
    return result;
}
