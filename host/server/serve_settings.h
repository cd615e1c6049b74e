#pragma once

#include "host/errors.h"
#include "host/server/server_settings.h"
#include "host/verify_cache/verify_cache_options.h"
#include "transport/socket_address.h"
#include "transport/udt_socket.h"

#include <CLI/App.hpp>

#include <optional>
#include <string>
#include <vector>

namespace VESK::Host
{

/// The options of `vesk serve` as they stand on the command line.
struct ServeOptions {
    std::string directory;
    std::string name;
    std::vector<std::string> shares;
    std::string listen = "127.0.0.1:8375";
    std::string auth = "token";
    std::string tokenFile;
    std::string fileMode = "0640";
    std::string dirMode = "0750";
    VerifyCacheOptions verifyCache;
    int maxConnections = ServerSettings().maxConnections;
    int packetSize = 0; ///< bytes
    Congestion congestion = Congestion::Vesk;
    int maxTasksPerUser = 0;
    double drainSeconds = ServerSettings().drainSeconds;
    std::string minFree;
    double partialsMaxAgeSeconds = 0;
    std::string metricsFile;
    std::string onDone;
    std::string logFormat = "text";
    bool verbose = false;
};

/// Adds them to the verb `serve`.
void addServeOptions(CLI::App &command, ServeOptions &options);

/// What the options ask for. Nothing on failure, with what to tell in `failure`.
std::optional<ServerSettings> serverSettings(const ServeOptions &options, Failure *failure);
/// Where to listen; no address that others than this machine's users and a private network's may reach,
/// unless a token is asked for.
std::optional<SocketAddress> listenAddress(const ServeOptions &options, Failure *failure);

} // namespace VESK::Host
