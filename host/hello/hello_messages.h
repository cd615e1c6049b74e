#pragma once

#include "host/hello/rights.h"

#include "vesk_base/message_kind.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <chrono>
#include <optional>
#include <vector>

namespace VESK::Host
{

/// Kinds of the messages that the hosts send to each other.
enum class HostMessage : int {
    ClientHello = number(MessageKind::FirstOfHost), ///< first on a connection
    ServerHello, ///< its answer
    ClientProof, ///< the client's last word of the hello; tasks may follow at once
    Ping, ///< client to server, between tasks; any text
    Pong, ///< its answer
};

constexpr int number(HostMessage kind)
{
    return static_cast<int>(kind);
}

/// Version of the hello that this program speaks.
QString helloVersion();

/// The verification modes that this program can be asked for, as the handler takes them.
QStringList knownVerifyModes();

constexpr int maxHelloBytes = 64 << 10; // of a message; thousands of shares fit in
constexpr std::chrono::seconds helloLimit(20); // for the whole hello, at either end

enum class AuthMode { None, Token };

/// What a client opens a connection with.
struct ClientHello {
    QStringList helloVersions;
    QString version; ///< of the program
    QStringList moduleKeys;
    QStringList verifyModes;
    QString user;
    QString nonce;
};

/// What a server answers.
struct ServerHello {
    QString helloVersion; ///< the one to go on with
    QString version;
    QString moduleKey; ///< likewise
    QStringList verifyModes; ///< those that both ends have
    AuthMode auth = AuthMode::Token;
    QString nonce;
    QString shares; ///< as offeredSharesText, sealed when there is a token
    QString proof; ///< of the server; empty without a token
};

/// The texts that travel. The readers give nothing for a text that is not well formed, or lacks something
/// or holds what a hello cannot.
QString writeClientHello(const ClientHello &hello);
std::optional<ClientHello> readClientHello(const QString &text);
QString writeServerHello(const ServerHello &hello);
std::optional<ServerHello> readServerHello(const QString &text);
QString writeClientProof(const QString &proof);
std::optional<QString> readClientProof(const QString &text);

QString offeredSharesText(const std::vector<OfferedShare> &shares);
std::optional<std::vector<OfferedShare>> readOfferedShares(const QString &text);

/// What a server proves: all but the proof itself.
QString withoutProof(ServerHello hello);

/// Answers a ping: the server's clock, in milliseconds since 1970.
QString pongText(qint64 clockMs);
std::optional<qint64> readPong(const QString &text);

} // namespace VESK::Host
