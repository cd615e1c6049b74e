#include "host/hello/client_hello.h"

#include "host/error_type.h"
#include "host/hello/hello_proof.h"
#include "host/hello/token_file.h"
#include "host/version.h"

#include "vesk_base/message_channel.h"
#include "vesk_base/vesk_base.h"

#include <QtCore/QFileInfo>

namespace VESK::Host
{

namespace
{

using Kind = HelloFailure::Kind;

struct TokenPlace {
    QString path;
    bool isMeantForServer = false; ///< so that a server which does not know it is the wrong one
};

TokenPlace tokenPlace(const Visitor &visitor)
{
    if (!visitor.tokenFile.isEmpty())
        return {visitor.tokenFile, true};
    const QString ofHost = hostTokenFile(visitor.host);
    if (!ofHost.isEmpty() && QFileInfo::exists(ofHost))
        return {ofHost, true};
    return {defaultTokenFile(), false};
}

QString refusalType(const QString &text)
{
    return VeskBase::unSerializeParam(text).value(QStringLiteral("errorType"));
}

/// One hello from this end, told from top to bottom by `run`.
class Greeting
{
public:
    Greeting(UDTSOCKET socket, const Visitor &visitor, HelloFailure *failure)
        : m_channel(socket)
        , m_visitor(visitor)
        , m_place(tokenPlace(visitor))
        , m_failure(failure)
    {
        m_channel.limit(maxHelloBytes, std::chrono::steady_clock::now() + helloLimit);
    }

    std::optional<Welcome> run()
    {
        QString answer;
        if (!ask() || !receive(&answer) || !understand(answer))
            return std::nullopt;
        Welcome welcome;
        welcome.version = m_server.version;
        welcome.moduleKey = m_server.moduleKey;
        welcome.verifyModes = m_server.verifyModes;
        welcome.auth = m_server.auth;
        QString shares = m_server.shares;
        if (m_server.auth == AuthMode::Token) {
            welcome.tokenFile = m_place.path;
            if (!exchangeProofs(answer, &shares))
                return std::nullopt;
        }
        const std::optional<std::vector<OfferedShare>> offered = readOfferedShares(shares);
        if (!offered) {
            (void)fail(Kind::Garbled); // that is the end
            return std::nullopt;
        }
        welcome.shares = *offered;
        return welcome;
    }

private:
    bool ask()
    {
        m_nonce = newNonce();
        m_said = writeClientHello({{helloVersion()},
                                   programVersion(),
                                   {m_visitor.moduleKey},
                                   knownVerifyModes(),
                                   m_visitor.user,
                                   m_nonce});
        return m_channel.send(number(HostMessage::ClientHello), m_said) || fail(Kind::Lost);
    }

    bool receive(QString *answer)
    {
        int kind = 0;
        if (!m_channel.recvAny(kind, *answer)) {
            const bool isNonsense = m_channel.isBroken() && m_channel.lastErrorCode() == 0;
            return fail(isNonsense ? Kind::Garbled : Kind::Lost);
        }
        if (kind == number(MessageKind::TaskParamAck))
            return failRefused(refusalType(*answer));
        return kind == number(HostMessage::ServerHello) || fail(Kind::Garbled);
    }

    // A server of a time before there was a hello takes it for a task that it cannot read.
    bool failRefused(const QString &errorType)
    {
        if (errorType == ErrorType::badRequest())
            return fail(Kind::NoCommonVersion, QStringLiteral("it does not know the hello"));
        if (errorType == ErrorType::noCommonVersion())
            return fail(Kind::NoCommonVersion, QStringLiteral("it speaks another version of the hello"));
        if (errorType == ErrorType::noCommonModule())
            return fail(Kind::NoCommonVersion,
                        QStringLiteral("it does not have the module %1").arg(m_visitor.moduleKey));
        return fail(Kind::Refused, errorType);
    }

    bool understand(const QString &answer)
    {
        const std::optional<ServerHello> server = readServerHello(answer);
        if (!server)
            return fail(Kind::Garbled);
        m_server = *server;
        if (m_server.helloVersion != helloVersion() || m_server.moduleKey != m_visitor.moduleKey)
            return fail(Kind::NoCommonVersion,
                        QStringLiteral("it wants version %1 of the hello and the module %2")
                            .arg(m_server.helloVersion, m_server.moduleKey));
        if (!m_visitor.verifyMode.isEmpty() && !m_server.verifyModes.contains(m_visitor.verifyMode))
            return fail(Kind::NoCommonMode, m_server.verifyModes.join(QStringLiteral(", ")));
        if (m_server.auth == AuthMode::None && m_place.isMeantForServer)
            return fail(Kind::NotAsked, m_place.path);
        return true;
    }

    bool exchangeProofs(const QString &answer, QString *shares)
    {
        const std::optional<Token> token = readToken();
        if (!token)
            return false;
        if (!isProof(*token, Role::Server, {m_said, withoutProof(m_server)}, m_server.proof))
            return fail(Kind::NotProven, m_place.path);
        const std::optional<QString> opened = unseal(*token, {m_nonce, m_server.nonce}, m_server.shares);
        if (!opened)
            return fail(Kind::Garbled);
        *shares = *opened;
        const QString proof = makeProof(*token, Role::Client, {m_said, answer});
        return m_channel.send(number(HostMessage::ClientProof), writeClientProof(proof)) || fail(Kind::Lost);
    }

    std::optional<Token> readToken()
    {
        if (!m_place.isMeantForServer && !QFileInfo::exists(m_place.path)) {
            (void)fail(Kind::NoToken, m_place.path); // that is the end
            return std::nullopt;
        }
        QString error;
        std::optional<Token> token = readTokenFile(m_place.path, &error);
        if (!token)
            (void)fail(Kind::BadToken, error); // as above
        return token;
    }

    bool fail(Kind kind, const QString &detail = QString())
    {
        *m_failure = {kind, detail};
        return false;
    }

    MessageChannel m_channel;
    const Visitor &m_visitor;
    const TokenPlace m_place;
    HelloFailure *const m_failure;
    QString m_nonce;
    QString m_said; // the client's hello as it went out
    ServerHello m_server;
};

} // namespace

std::optional<Welcome> sayHello(UDTSOCKET socket, const Visitor &visitor, HelloFailure *failure)
{
    return Greeting(socket, visitor, failure).run();
}

} // namespace VESK::Host
