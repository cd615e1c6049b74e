#pragma once

#include "host/address.h"
#include "host/client/client_context.h"
#include "host/client/output_options.h"
#include "host/client/selection.h"
#include "host/client/transfer_options.h"
#include "host/verify_cache/verify_cache_options.h"

#include <CLI/App.hpp>

#include <string>
#include <vector>

namespace VESK::Host
{

/// The options that the verbs of the client share, as they stand on the command line.
struct ClientOptions {
    std::string verify = "xxh128";
    std::string user;
    std::string tokenFile;
    std::string progress = "auto";
    quint16 port = 0;
    int retries = ClientSettings().retries;
    double retryWaitSeconds = ClientSettings().retryWaitSeconds;
    double stallSeconds = ClientSettings().stallSeconds;
    TransferOptions transfer;
    int packetSize = TransportOptions().packetSize;
    VerifyCacheOptions verifyCache;
    Congestion congestion = TransportOptions().congestion;
    bool recursive = false;
    bool ipv4 = false;
    bool ipv6 = false;
    bool quiet = false;
    bool verbose = false;
    bool json = false;
    OutputOptions output;
};

/// The ways of verification, as `--verify` takes them.
const std::vector<std::string> &verificationModes();

/// Adds what every verb of the client takes.
void addConnectionOptions(CLI::App &command, ClientOptions &options);
/// Adds what the verbs that move files take as well.
void addTransferOptions(CLI::App &command, ClientOptions &options);

ClientSettings clientSettings(const ClientOptions &options);
ProgressStyle progressStyle(const ClientOptions &options);

/// Reads a place on a server and fills in the port and the user. Nothing on failure, with a sentence for a
/// person in `error`.
/// An error begins with `shown`, or with the text itself.
std::optional<RemoteAddress> settleRemote(const std::string &text, const ClientOptions &options,
                                          QString *error, const QString &shown = QString());

/// Can it only be a place on a server, whatever the configuration names?
bool isRemotePlace(const std::string &text);

/// The files that the options choose. Nothing on failure, with a sentence for a person in `error`.
std::optional<Selection> settleSelection(const ClientOptions &options, const CLI::App &command,
                                         QString *error);

/// Tells wrong use of a verb, and gives the exit status.
int usageError(const QString &verb, const QString &what);

} // namespace VESK::Host
