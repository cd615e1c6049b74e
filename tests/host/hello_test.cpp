#include "host/error_type.h"
#include "host/hello/client_hello.h"
#include "host/hello/hello_proof.h"
#include "host/hello/server_hello.h"
#include "host/hello/token_file.h"

#include "tests/support/background.h"
#include "tests/support/temp_dir.h"
#include "tests/support/udt_pair.h"

#include "vesk_base/vesk_base.h"

#include <gmock/gmock.h>

using namespace VESK;
using namespace VESK::Host;
using namespace VESK::Test;

namespace
{

const QString module = "VESK-2.0.0"_s;

/// Both ends of one hello, each with a token or without.
class HelloTest : public testing::Test
{
protected:
    void SetUp() override
    {
        qputenv("XDG_CONFIG_HOME", m_directory.path("config"_s).toUtf8());
        m_visitor.user = "ada"_s;
        m_visitor.host = "nas"_s;
        m_visitor.moduleKey = module;
        m_terms.moduleKey = module;
        m_terms.shares = {{"in"_s, {false, true}}, {"films"_s, {true, false}}};
    }

    Token makeToken(const QString &path)
    {
        QString error;
        EXPECT_TRUE(makeTokenFile(path, &error)) << error.toStdString();
        std::optional<Token> token = readTokenFile(path, &error);
        EXPECT_TRUE(token) << error.toStdString();
        return token ? std::move(*token) : Token::random();
    }

    std::optional<Welcome> greet(const UdtPair &pair)
    {
        return sayHello(pair.client(), m_visitor, &m_failure);
    }

    Reception receive(const UdtPair &pair)
    {
        MessageChannel channel(pair.server());
        channel.limit(maxHelloBytes, std::chrono::steady_clock::now() + std::chrono::seconds(20));
        QString hello;
        if (!channel.recv(number(HostMessage::ClientHello), hello))
            return {};
        return receiveHello(channel, m_terms, hello);
    }

    // The server's end runs by itself, and has ended when this returns.
    std::optional<Welcome> meet()
    {
        UdtPair pair;
        const Background server([&] { return receive(pair); });
        const std::optional<Welcome> welcome = greet(pair);
        if (!welcome)
            pair.closeClient();
        const auto reception = server.wait(std::chrono::seconds(30));
        m_reception = reception.value_or(Reception());
        return welcome;
    }

    // The server's end is what the test says, message by message; each gives nothing to end the connection.
    std::optional<Welcome> meetScripted(const std::function<void(MessageChannel &, const QString &)> &answer)
    {
        UdtPair pair;
        const Background server([&] {
            MessageChannel channel(pair.server());
            QString hello;
            if (channel.recv(number(HostMessage::ClientHello), hello))
                answer(channel, hello);
            (void)waitUntilDelivered(pair.server()); // the client may have left
            pair.closeServer();
        });
        return greet(pair);
    }

    ServerHello answerWith(const Token &token, const QString &clientHello) const
    {
        ServerHello answer;
        answer.helloVersion = helloVersion();
        answer.version = "9"_s;
        answer.moduleKey = module;
        answer.verifyModes = knownVerifyModes();
        answer.auth = AuthMode::Token;
        answer.nonce = newNonce();
        answer.shares = seal(token, {readClientHello(clientHello)->nonce, answer.nonce},
                             offeredSharesText(m_terms.shares));
        answer.proof = makeProof(token, Role::Server, {clientHello, withoutProof(answer)});
        return answer;
    }

    TempDir m_directory;
    Visitor m_visitor;
    HelloTerms m_terms;
    HelloFailure m_failure;
    Reception m_reception;
};

TEST_F(HelloTest, AdmitsWhoKnowsTheToken)
{
    const Token token = makeToken(defaultTokenFile());
    m_terms.token = &token;
    const std::optional<Welcome> welcome = meet();
    ASSERT_TRUE(welcome) << qPrintable(m_failure.detail);
    EXPECT_EQ(m_reception.result, Reception::Result::Admitted);
    EXPECT_EQ(m_reception.user, "ada"_s);
    EXPECT_EQ(welcome->auth, AuthMode::Token);
    EXPECT_EQ(welcome->moduleKey, module);
    EXPECT_EQ(welcome->verifyModes, knownVerifyModes());
    ASSERT_EQ(welcome->shares.size(), 2U);
    EXPECT_EQ(welcome->shares[0].name, "films"_s);
    EXPECT_EQ(rightsText(welcome->shares[0].rights), "r"_s);
    EXPECT_EQ(rightsText(welcome->shares[1].rights), "w"_s);
}

TEST_F(HelloTest, TakesTheTokenThatIsKeptForTheHost)
{
    makeToken(defaultTokenFile());
    const Token token = makeToken(hostTokenFile("nas"_s));
    m_terms.token = &token;
    EXPECT_TRUE(meet());
}

TEST_F(HelloTest, TakesTheTokenThatIsNamedBeforeAllOthers)
{
    makeToken(defaultTokenFile());
    makeToken(hostTokenFile("nas"_s));
    m_visitor.tokenFile = m_directory.path("named"_s);
    const Token token = makeToken(m_visitor.tokenFile);
    m_terms.token = &token;
    EXPECT_TRUE(meet());
}

TEST_F(HelloTest, ShowsTheServerNothingOfATokenThatIsNotItsOwn)
{
    makeToken(defaultTokenFile());
    const Token other = Token::random();
    m_terms.token = &other;
    EXPECT_FALSE(meet());
    EXPECT_EQ(m_failure.kind, HelloFailure::Kind::NotProven);
    EXPECT_EQ(m_failure.detail, defaultTokenFile());
    EXPECT_EQ(m_reception.result, Reception::Result::Gone); // no proof came
}

TEST_F(HelloTest, TellsThatThereIsNoToken)
{
    const Token token = Token::random();
    m_terms.token = &token;
    EXPECT_FALSE(meet());
    EXPECT_EQ(m_failure.kind, HelloFailure::Kind::NoToken);
    EXPECT_EQ(m_reception.result, Reception::Result::Gone);
}

TEST_F(HelloTest, TellsATokenThatOthersCanRead)
{
    const Token token = makeToken(defaultTokenFile());
    m_terms.token = &token;
    ASSERT_TRUE(QFile::setPermissions(defaultTokenFile(), QFileDevice::Permissions(0x6644)));
    EXPECT_FALSE(meet());
    EXPECT_EQ(m_failure.kind, HelloFailure::Kind::BadToken);
}

TEST_F(HelloTest, GoesToAServerThatAsksForNothing)
{
    makeToken(defaultTokenFile());
    const std::optional<Welcome> welcome = meet();
    ASSERT_TRUE(welcome);
    EXPECT_EQ(welcome->auth, AuthMode::None);
    EXPECT_EQ(welcome->shares.size(), 2U);
}

TEST_F(HelloTest, DoesNotGoThereWhenATokenIsMeantForIt)
{
    makeToken(hostTokenFile("nas"_s));
    EXPECT_FALSE(meet());
    EXPECT_EQ(m_failure.kind, HelloFailure::Kind::NotAsked);
    EXPECT_EQ(m_failure.detail, hostTokenFile("nas"_s));
}

TEST_F(HelloTest, RefusesAServerThatCannotVerifyAsWanted)
{
    m_visitor.verifyMode = "crc"_s;
    EXPECT_FALSE(meet());
    EXPECT_EQ(m_failure.kind, HelloFailure::Kind::NoCommonMode);
}

TEST_F(HelloTest, RefusesAClientWithAnotherModule)
{
    m_visitor.moduleKey = "VESK-3.0.0"_s;
    UdtPair pair;
    const Background server([&] { return receive(pair); });
    MessageChannel channel(pair.client());
    ASSERT_TRUE(channel.send(number(HostMessage::ClientHello),
                             writeClientHello({{"1"_s}, "9"_s, {"VESK-3.0.0"_s}, {}, "ada"_s, newNonce()})));
    EXPECT_EQ(server.wait(std::chrono::seconds(20))->errorType, ErrorType::noCommonModule());
}

TEST_F(HelloTest, RefusesAClientOfAnotherHello)
{
    UdtPair pair;
    const Background server([&] { return receive(pair); });
    MessageChannel channel(pair.client());
    ASSERT_TRUE(channel.send(number(HostMessage::ClientHello),
                             writeClientHello({{"7"_s, "8"_s}, "9"_s, {module}, {}, "ada"_s, newNonce()})));
    EXPECT_EQ(server.wait(std::chrono::seconds(20))->errorType, ErrorType::noCommonVersion());
}

TEST_F(HelloTest, FindsTheVersionThatBothSpeak)
{
    UdtPair pair;
    const Background server([&] { return receive(pair); });
    MessageChannel channel(pair.client());
    ASSERT_TRUE(channel.send(
        number(HostMessage::ClientHello),
        writeClientHello({{"2"_s, "1"_s}, "9"_s, {"VESK-3.0.0"_s, module}, {}, "ada"_s, newNonce()})));
    EXPECT_EQ(server.wait(std::chrono::seconds(20))->result, Reception::Result::Admitted);
}

TEST_F(HelloTest, TellsARefusalByItsKind)
{
    const auto refuseWith = [&](const QString &errorType) {
        EXPECT_FALSE(meetScripted([&](MessageChannel &channel, const QString &) {
            (void)channel.send(number(MessageKind::TaskParamAck),
                               VeskBase::serializeParam({{"ackRespond"_s, "false"_s},
                                                         {"errorType"_s, errorType}})); // seen by the client
        }));
        return m_failure.kind;
    };
    EXPECT_EQ(refuseWith(ErrorType::badRequest()),
              HelloFailure::Kind::NoCommonVersion); // of a time before the hello
    EXPECT_EQ(refuseWith(ErrorType::noCommonVersion()), HelloFailure::Kind::NoCommonVersion);
    EXPECT_EQ(refuseWith(ErrorType::noCommonModule()), HelloFailure::Kind::NoCommonVersion);
    EXPECT_EQ(refuseWith(ErrorType::tooManyConnections()), HelloFailure::Kind::Refused);
    EXPECT_EQ(m_failure.detail, ErrorType::tooManyConnections());
}

TEST_F(HelloTest, DoesNotBelieveAServerThatSendsTheClientsWordsBack)
{
    const Token token = makeToken(defaultTokenFile());
    EXPECT_FALSE(meetScripted([&](MessageChannel &channel, const QString &hello) {
        ServerHello answer = answerWith(token, hello);
        answer.proof = makeProof(token, Role::Client, {hello, withoutProof(answer)});
        (void)channel.send(number(HostMessage::ServerHello), writeServerHello(answer)); // as above
    }));
    EXPECT_EQ(m_failure.kind, HelloFailure::Kind::NotProven);
}

TEST_F(HelloTest, DoesNotBelieveAReplayedAnswer)
{
    const Token token = makeToken(defaultTokenFile());
    const QString earlier = writeClientHello({{"1"_s}, "9"_s, {module}, {}, "ada"_s, newNonce()});
    EXPECT_FALSE(meetScripted([&](MessageChannel &channel, const QString &) {
        (void)channel.send(number(HostMessage::ServerHello), writeServerHello(answerWith(token, earlier)));
    }));
    EXPECT_EQ(m_failure.kind, HelloFailure::Kind::NotProven);
}

TEST_F(HelloTest, DoesNotBelieveAnAnswerThatWasAltered)
{
    const Token token = makeToken(defaultTokenFile());
    const std::vector<std::function<void(ServerHello &)>> alterations = {
        [](ServerHello &hello) { hello.version = "8"_s; },
        [](ServerHello &hello) { hello.verifyModes = QStringList("false"_s); },
        [](ServerHello &hello) { hello.nonce = newNonce(); },
        [](ServerHello &hello) { hello.shares += "A"_s; },
        [](ServerHello &hello) { hello.proof.clear(); },
    };
    for (const auto &alter : alterations) {
        EXPECT_FALSE(meetScripted([&](MessageChannel &channel, const QString &hello) {
            ServerHello answer = answerWith(token, hello);
            alter(answer);
            (void)channel.send(number(HostMessage::ServerHello), writeServerHello(answer));
        }));
        EXPECT_EQ(m_failure.kind, HelloFailure::Kind::NotProven);
    }
}

TEST_F(HelloTest, TakesNothingFromNonsense)
{
    makeToken(defaultTokenFile());
    for (const QString &text : {QString(), "vpm1 0\n"_s, "vpm1 1\nhello=1\n"_s, "hello"_s,
                                "vpm1 3\nauth=token\nhello=1\nnonce=short\n"_s}) {
        EXPECT_FALSE(meetScripted([&](MessageChannel &channel, const QString &) {
            (void)channel.send(number(HostMessage::ServerHello), text);
        }));
        EXPECT_EQ(m_failure.kind, HelloFailure::Kind::Garbled) << qPrintable(text);
    }
    EXPECT_FALSE(meetScripted([&](MessageChannel &channel, const QString &) {
        (void)channel.send(number(HostMessage::Pong), "vpm1 0\n"_s);
    }));
    EXPECT_EQ(m_failure.kind, HelloFailure::Kind::Garbled);
    EXPECT_FALSE(meetScripted([&](MessageChannel &channel, const QString &) {
        (void)channel.send(number(HostMessage::ServerHello), QString(maxHelloBytes + 1, 'x'));
    }));
    EXPECT_EQ(m_failure.kind, HelloFailure::Kind::Garbled);
}

TEST_F(HelloTest, EndsWhenTheServerLeaves)
{
    EXPECT_FALSE(meetScripted([](MessageChannel &, const QString &) {}));
    EXPECT_EQ(m_failure.kind, HelloFailure::Kind::Lost);
}

TEST_F(HelloTest, RefusesAHelloThatIsNone)
{
    const QString nonce = newNonce();
    const QString longName(256, 'x');
    for (const QString &text :
         {QString(), "vpm1 0\n"_s, writeClientHello({{}, "9"_s, {module}, {}, "ada"_s, nonce}),
          writeClientHello({{"1"_s}, "9"_s, {module}, {}, "ada"_s, "short"_s}),
          writeClientHello({{"1"_s}, "9"_s, {module}, {}, "a\nb"_s, nonce}),
          writeClientHello({{"1"_s}, "9"_s, {module}, {}, longName, nonce})}) {
        const UdtPair pair;
        MessageChannel channel(pair.server());
        const Reception reception = receiveHello(channel, m_terms, text);
        EXPECT_EQ(reception.result, Reception::Result::Refused) << qPrintable(text);
        EXPECT_EQ(reception.errorType, ErrorType::badHello()) << qPrintable(text);
    }
}

} // namespace
