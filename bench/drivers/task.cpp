#include "bench/drivers/task.h"

#include "bench/drivers/stopwatch.h"
#include "vesk_2_0_0/handler/vesk_handler_2_0_0.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace VESK::Bench
{

namespace
{

ParamMap serverParams(const Connection &connection, const QString &share)
{
    return {{"endPoint", "server"}, {"mountPath", share},
            {"appPath", "bench:."}, {"fileMod", "640"},
            {"dirMod", "750"},      {"serverSocket", QString::number(connection.server())}};
}

/// Errors only: writing the lines of thousands of tasks would be what is measured.
void quieten()
{
    VeskBase::setLogSink([](const VeskBase *, const QString &level, const QString &message) {
        if (level == QLatin1String("error"))
            std::fprintf(stderr, "%s\n", qPrintable(message));
    });
}

double run(VeskHandler2_0_0 &client, VeskHandler2_0_0 &server)
{
    quieten();
    bool isServed = false;
    const Stopwatch watch;
    std::thread serving([&] { isServed = server.process(); });
    const bool isDone = client.process();
    serving.join();
    const double seconds = watch.seconds();
    if (!isDone || !isServed) {
        std::fputs("bench: the task failed\n", stderr);
        std::exit(1);
    }
    return seconds;
}

} // namespace

double upload(const Connection &connection, const Upload &task)
{
    VeskHandler2_0_0 client;
    VeskHandler2_0_0 server;
    std::int64_t total = -1;
    std::int64_t done = -1;
    const auto address = [](const std::int64_t &counter) {
        return QString::number(reinterpret_cast<quintptr>(&counter));
    };
    (void)server.setParams(serverParams(connection, task.target)); // never refused
    (void)client.setParams({{"endPoint", "client"},
                            {"operator", "upload"},
                            {"clientSocket", QString::number(connection.client())},
                            {"srcPath", task.directory},
                            {"fileName", task.fileName},
                            {"appKey", "bench"},
                            {"bVerify", task.verifyMode},
                            {"bReplace", "false"},
                            {"total", address(total)},
                            {"offset", address(done)}}); // as above
    return run(client, server);
}

double list(const Connection &connection, const QString &directory,
            const std::function<void(const ParamMap &batch)> &take)
{
    VeskHandler2_0_0 client;
    VeskHandler2_0_0 server;
    (void)server.setParams(serverParams(connection, directory)); // never refused
    (void)client.setParams({{"endPoint", "client"},
                            {"operator", "list"},
                            {"clientSocket", QString::number(connection.client())},
                            {"appKey", "bench"}}); // as above
    QObject::connect(&client, &VeskBase::sigList, take);
    return run(client, server);
}

} // namespace VESK::Bench
