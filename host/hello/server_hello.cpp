#include "host/hello/server_hello.h"

#include "host/error_type.h"
#include "host/hello/hello_proof.h"
#include "host/version.h"

#include <algorithm>

namespace VESK::Host
{

namespace
{

using Result = Reception::Result;

Reception refused(const QString &errorType)
{
    return {Result::Refused, errorType, QString(), QString()};
}

QStringList commonModes(const QStringList &wanted)
{
    QStringList modes = knownVerifyModes();
    modes.erase(std::remove_if(modes.begin(), modes.end(),
                               [&](const QString &mode) { return !wanted.contains(mode); }),
                modes.end());
    return modes;
}

ServerHello answerTo(const HelloTerms &terms, const ClientHello &client, const QString &clientHello)
{
    ServerHello answer;
    answer.helloVersion = helloVersion();
    answer.version = programVersion();
    answer.moduleKey = terms.moduleKey;
    answer.verifyModes = commonModes(client.verifyModes);
    answer.auth = terms.token ? AuthMode::Token : AuthMode::None;
    answer.nonce = newNonce();
    answer.shares = offeredSharesText(terms.shares);
    if (terms.token) {
        // What there is to be had is for those who know the token, and is told before they have proved it: so
        // the hello takes one round trip and not two.
        answer.shares = seal(*terms.token, {client.nonce, answer.nonce}, answer.shares);
        answer.proof = makeProof(*terms.token, Role::Server, {clientHello, withoutProof(answer)});
    }
    return answer;
}

Reception hearProof(MessageChannel &channel, const Token &token, const QStringList &said)
{
    int kind = 0;
    QString text;
    if (!channel.recvAny(kind, text))
        return {};
    const std::optional<QString> proof =
        kind == number(HostMessage::ClientProof) ? readClientProof(text) : std::nullopt;
    if (!proof)
        return refused(ErrorType::helloRequired());
    if (!isProof(token, Role::Client, said, *proof))
        return {Result::NotProven, ErrorType::notAllowed(), QString(), QString()};
    return {Result::Admitted, QString(), QString(), QString()};
}

} // namespace

Reception receiveHello(MessageChannel &channel, const HelloTerms &terms, const QString &clientHello)
{
    const std::optional<ClientHello> client = readClientHello(clientHello);
    if (!client)
        return refused(ErrorType::badHello());
    if (!client->helloVersions.contains(helloVersion()))
        return refused(ErrorType::noCommonVersion());
    if (!client->moduleKeys.contains(terms.moduleKey))
        return refused(ErrorType::noCommonModule());

    const QString answer = writeServerHello(answerTo(terms, *client, clientHello));
    if (!channel.send(number(HostMessage::ServerHello), answer))
        return {};
    Reception reception{Result::Admitted, QString(), QString(), QString()};
    if (terms.token)
        reception = hearProof(channel, *terms.token, {clientHello, answer});
    reception.user = client->user;
    reception.version = client->version;
    return reception;
}

} // namespace VESK::Host
