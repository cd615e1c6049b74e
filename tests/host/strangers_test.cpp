#include "host/error_type.h"
#include "host/hello/hello_proof.h"
#include "host/server/server.h"

#include "tests/support/background.h"
#include "tests/support/scripted_peer.h"
#include "tests/support/temp_dir.h"
#include "tests/support/udt_pair.h"
#include "tests/support/udt_ports.h"

#include <gmock/gmock.h>

using namespace VESK;
using namespace VESK::Host;
using namespace VESK::Test;
using namespace std::chrono_literals;

namespace
{

const QString modulePath = VESK_MODULE_PATH;
const QString moduleKey = "VESK-2.0.0"_s;

/// A connection to the server whose every word is the test's.
class Stranger
{
public:
    explicit Stranger(const SocketAddress &server)
        : m_socket(newClientSocket())
        , m_peer(m_socket, "client"_s)
    {
        m_isConnected = UDT::connect(m_socket, server.data(), static_cast<int>(server.size())) != UDT::ERROR;
    }
    ~Stranger() { UDT::close(m_socket); }
    Stranger(const Stranger &) = delete;
    Stranger &operator=(const Stranger &) = delete;

    bool isConnected() const { return m_isConnected; }
    UDTSOCKET socket() const { return m_socket; }
    ScriptedPeer &peer() { return m_peer; }

    bool say(HostMessage kind, const QString &text) { return m_peer.send(number(kind), text); }
    std::optional<QString> hear(HostMessage kind)
    {
        QString text;
        if (!m_peer.recv(number(kind), text))
            return std::nullopt;
        return text;
    }

    // The error type of the refusal that comes next; empty when none does.
    QString refusal()
    {
        const std::optional<ParamMap> answer = m_peer.recvMap(MessageKind::TaskParamAck);
        if (!answer || answer->value("ackRespond"_s) != "false"_s)
            return QString();
        return answer->value("errorType"_s);
    }

    // Does the server end the connection, without a further word?
    bool isCutOff() { return m_peer.recvBytes(1).isEmpty() && UDT::getsockstate(m_socket) != CONNECTED; }

private:
    const UDTSOCKET m_socket;
    ScriptedPeer m_peer;
    bool m_isConnected = false;
};

QString newClientHello()
{
    return writeClientHello({{helloVersion()}, "9"_s, {moduleKey}, knownVerifyModes(), "ada"_s, newNonce()});
}

ParamMap listTask()
{
    return {{"operator"_s, "list"_s}, {"appKey"_s, "share"_s}, {"userName"_s, "ada"_s}};
}

/// A server in this process, and clients that are not what it hopes for.
class StrangersTest : public testing::Test
{
protected:
    void SetUp() override
    {
        QString error;
        m_module = Module::load(modulePath, &error);
        ASSERT_TRUE(m_module) << error.toStdString();
        ASSERT_TRUE(m_directory.write("share/file"_s, "x"));
        m_settings.shares = {shareOfDirectory(m_directory.path("share"_s))};
        m_terms.token = &m_token;
        m_terms.moduleKey = moduleKey;
        m_terms.shares = {{"share"_s, Rights()}};
    }

    void TearDown() override
    {
        if (m_server)
            m_server->stop();
        m_running.reset();
    }

    void start()
    {
        QString error;
        const auto any = SocketAddress::resolve("127.0.0.1"_s, 0, AddressFamily::Ipv4, &error);
        ASSERT_TRUE(m_listener.open(any.front(), &error)) << error.toStdString();
        m_address = m_listener.address();
        m_server = std::make_unique<Server>(*m_module, m_settings, m_terms, m_listener);
        m_running = std::make_unique<Background<std::function<void()>>>([this] { m_server->run(); });
    }

    // The whole hello; true when the server took it as far as a client can see.
    bool sayHello(Stranger &stranger, const Token &token)
    {
        const QString hello = newClientHello();
        const bool isSaid = stranger.say(HostMessage::ClientHello, hello);
        const std::optional<QString> answer = isSaid ? stranger.hear(HostMessage::ServerHello) : std::nullopt;
        return answer
            && stranger.say(HostMessage::ClientProof,
                            writeClientProof(makeProof(token, Role::Client, {hello, *answer})));
    }

    bool canList(Stranger &stranger)
    {
        if (!stranger.peer().sendMap(MessageKind::TaskParam, listTask()))
            return false;
        const std::optional<ParamMap> answer = stranger.peer().recvMap(MessageKind::TaskParamAck);
        if (!answer || answer->value("ackRespond"_s) != "true"_s)
            return false;
        const std::optional<ParamMap> names = stranger.peer().recvMap(MessageKind::ListContent);
        return names && names->contains("/file"_s);
    }

    TempDir m_directory;
    std::unique_ptr<Module> m_module;
    ServerSettings m_settings;
    const Token m_token = Token::random();
    HelloTerms m_terms;
    SocketAddress m_address;
    Listener m_listener{TransportOptions()};
    std::unique_ptr<Server> m_server;
    std::unique_ptr<Background<std::function<void()>>> m_running;
};

TEST_F(StrangersTest, WithTheTokenAreServed)
{
    start();
    Stranger client(m_address);
    ASSERT_TRUE(client.isConnected());
    ASSERT_TRUE(sayHello(client, m_token));
    EXPECT_TRUE(canList(client));
    EXPECT_TRUE(canList(client));
}

TEST_F(StrangersTest, MayAskForTheTimeBetweenTasks)
{
    start();
    Stranger client(m_address);
    ASSERT_TRUE(sayHello(client, m_token));
    ASSERT_TRUE(client.say(HostMessage::Ping, "?"_s));
    const std::optional<QString> pong = client.hear(HostMessage::Pong);
    ASSERT_TRUE(pong);
    EXPECT_TRUE(readPong(*pong));
    EXPECT_TRUE(canList(client));
    ASSERT_TRUE(client.say(HostMessage::Ping, "?"_s));
    EXPECT_TRUE(client.hear(HostMessage::Pong));
}

TEST_F(StrangersTest, WithAnotherTokenAreRefused)
{
    start();
    Stranger client(m_address);
    ASSERT_TRUE(sayHello(client, Token::random()));
    ASSERT_TRUE(client.peer().sendMap(MessageKind::TaskParam, listTask()));
    EXPECT_EQ(client.refusal(), ErrorType::notAllowed());
    EXPECT_TRUE(client.isCutOff());
}

TEST_F(StrangersTest, SeeNoNamesOfSharesWithoutTheToken)
{
    start();
    Stranger client(m_address);
    ASSERT_TRUE(client.say(HostMessage::ClientHello, newClientHello()));
    const std::optional<QString> answer = client.hear(HostMessage::ServerHello);
    ASSERT_TRUE(answer);
    const QString shares = readServerHello(*answer)->shares;
    EXPECT_FALSE(QByteArray::fromBase64(shares.toLatin1(), QByteArray::Base64UrlEncoding).contains("share"));
}

TEST_F(StrangersTest, WithoutAHelloAreRefused)
{
    start();
    Stranger client(m_address);
    ASSERT_TRUE(client.peer().sendMap(MessageKind::TaskParam, listTask()));
    EXPECT_EQ(client.refusal(), ErrorType::helloRequired());
    EXPECT_TRUE(client.isCutOff());
}

TEST_F(StrangersTest, WithoutAHelloAreServedWhereEverybodyIs)
{
    m_terms.token = nullptr;
    start();
    Stranger client(m_address);
    EXPECT_TRUE(canList(client));
    EXPECT_TRUE(canList(client));
}

TEST_F(StrangersTest, CannotSkipTheProof)
{
    start();
    Stranger client(m_address);
    ASSERT_TRUE(client.say(HostMessage::ClientHello, newClientHello()));
    ASSERT_TRUE(client.hear(HostMessage::ServerHello));
    ASSERT_TRUE(client.peer().sendMap(MessageKind::TaskParam, listTask()));
    EXPECT_EQ(client.refusal(), ErrorType::helloRequired());
    EXPECT_TRUE(client.isCutOff());
}

TEST_F(StrangersTest, CannotReplayAHello)
{
    start();
    const QString hello = newClientHello();
    QString proof;
    {
        Stranger client(m_address);
        ASSERT_TRUE(client.say(HostMessage::ClientHello, hello));
        const std::optional<QString> answer = client.hear(HostMessage::ServerHello);
        ASSERT_TRUE(answer);
        proof = writeClientProof(makeProof(m_token, Role::Client, {hello, *answer}));
        ASSERT_TRUE(client.say(HostMessage::ClientProof, proof));
        EXPECT_TRUE(canList(client));
    }
    Stranger replay(m_address);
    ASSERT_TRUE(replay.say(HostMessage::ClientHello, hello));
    ASSERT_TRUE(replay.hear(HostMessage::ServerHello));
    ASSERT_TRUE(replay.say(HostMessage::ClientProof, proof));
    EXPECT_EQ(replay.refusal(), ErrorType::notAllowed());
    EXPECT_TRUE(replay.isCutOff());
}

TEST_F(StrangersTest, CannotSendTheServersProofBack)
{
    start();
    Stranger client(m_address);
    ASSERT_TRUE(client.say(HostMessage::ClientHello, newClientHello()));
    const std::optional<QString> answer = client.hear(HostMessage::ServerHello);
    ASSERT_TRUE(answer);
    ASSERT_TRUE(client.say(HostMessage::ClientProof, writeClientProof(readServerHello(*answer)->proof)));
    EXPECT_EQ(client.refusal(), ErrorType::notAllowed());
}

TEST_F(StrangersTest, CannotHaveAnotherConnectionProveForThem)
{
    start();
    const QString hello = newClientHello();
    Stranger honest(m_address);
    Stranger thief(m_address);
    ASSERT_TRUE(honest.say(HostMessage::ClientHello, hello));
    ASSERT_TRUE(thief.say(HostMessage::ClientHello, hello));
    const std::optional<QString> answer = honest.hear(HostMessage::ServerHello);
    ASSERT_TRUE(answer && thief.hear(HostMessage::ServerHello));
    ASSERT_TRUE(thief.say(HostMessage::ClientProof,
                          writeClientProof(makeProof(m_token, Role::Client, {hello, *answer}))));
    EXPECT_EQ(thief.refusal(), ErrorType::notAllowed());
}

TEST_F(StrangersTest, WhoSpeakInRiddlesAreRefused)
{
    start();
    for (const QString &text : {QString(), "vpm1 0\n"_s, "hello"_s}) {
        Stranger client(m_address);
        ASSERT_TRUE(client.say(HostMessage::ClientHello, text));
        EXPECT_EQ(client.refusal(), ErrorType::badHello());
        EXPECT_TRUE(client.isCutOff());
    }
    Stranger unready(m_address);
    ASSERT_TRUE(unready.say(HostMessage::Ping, "?"_s));
    EXPECT_EQ(unready.refusal(), ErrorType::badRequest());
    EXPECT_TRUE(unready.isCutOff());
    Stranger garbled(m_address);
    ASSERT_TRUE(garbled.peer().sendBytes(QByteArray(100, 'x')));
    EXPECT_EQ(garbled.refusal(), ErrorType::badRequest());
    EXPECT_TRUE(garbled.isCutOff());
}

TEST_F(StrangersTest, WithTooMuchToSayAreNotHeard)
{
    start();
    Stranger client(m_address);
    // The beginning of a message of 1 MB.
    ASSERT_TRUE(client.peer().sendBytes(QByteArray::fromHex("5645534b00000020000f4240")));
    EXPECT_EQ(client.refusal(), ErrorType::badRequest());
    EXPECT_TRUE(client.isCutOff());
}

TEST_F(StrangersTest, WhoAreSilentAreSentAway)
{
    m_terms.limit = 300ms;
    start();
    Stranger silent(m_address);
    EXPECT_EQ(silent.refusal(), ErrorType::badRequest());
    EXPECT_TRUE(silent.isCutOff());
    Stranger halfway(m_address);
    ASSERT_TRUE(halfway.say(HostMessage::ClientHello, newClientHello()));
    ASSERT_TRUE(halfway.hear(HostMessage::ServerHello));
    EXPECT_TRUE(halfway.isCutOff());
}

TEST_F(StrangersTest, TakeNoPlaceFromThoseWhoAreAdmitted)
{
    m_settings.maxConnections = 1;
    start();
    std::vector<std::unique_ptr<Stranger>> silent;
    for (int i = 0; i < 5; ++i)
        silent.push_back(std::make_unique<Stranger>(m_address));
    Stranger client(m_address);
    ASSERT_TRUE(sayHello(client, m_token));
    EXPECT_TRUE(canList(client));
}

TEST_F(StrangersTest, BeyondTheLimitAreToldSo)
{
    m_settings.maxConnections = 1;
    start();
    Stranger first(m_address);
    ASSERT_TRUE(sayHello(first, m_token));
    ASSERT_TRUE(canList(first));
    Stranger second(m_address);
    ASSERT_TRUE(second.say(HostMessage::ClientHello, newClientHello()));
    EXPECT_EQ(second.refusal(), ErrorType::tooManyConnections());
    EXPECT_TRUE(second.isCutOff());
    ASSERT_TRUE(first.peer().sendMap(MessageKind::TaskParam, {{"operator"_s, "return"_s}}));
    EXPECT_TRUE(first.isCutOff());
    Stranger third(m_address);
    ASSERT_TRUE(sayHello(third, m_token));
    EXPECT_TRUE(canList(third));
}

TEST_F(StrangersTest, WhoGuessDoNotDelayOthers)
{
    start();
    {
        std::vector<std::unique_ptr<Stranger>> first(GuessDelay::maxWaiting);
        for (auto &guessing : first) {
            guessing = std::make_unique<Stranger>(m_address);
            ASSERT_TRUE(sayHello(*guessing, Token::random()));
        }
        for (const auto &guessing : first)
            EXPECT_EQ(guessing->refusal(), ErrorType::notAllowed());
    }
    Stranger guessing(m_address); // its answer takes four seconds
    ASSERT_TRUE(sayHello(guessing, Token::random()));
    Stranger client(m_address);
    ASSERT_TRUE(sayHello(client, m_token));
    EXPECT_TRUE(canList(client));
    int unread = 0;
    int size = sizeof unread;
    ASSERT_NE(UDT::getsockopt(guessing.socket(), 0, UDT_RCVDATA, &unread, &size), UDT::ERROR);
    EXPECT_EQ(unread, 0);
    EXPECT_EQ(UDT::getsockstate(guessing.socket()), CONNECTED);
}

TEST_F(StrangersTest, WhoWaitForAnAnswerDoNotHoldUpTheEndOfTheServer)
{
    start();
    std::vector<std::unique_ptr<Stranger>> guessing;
    for (int i = 0; i < 8; ++i) {
        guessing.push_back(std::make_unique<Stranger>(m_address));
        ASSERT_TRUE(sayHello(*guessing.back(), Token::random()));
    }
    const Background end([this] {
        m_server->stop();
        m_running.reset();
        m_server.reset();
    });
    EXPECT_EQ(end.wait(20s), true);
}

TEST_F(StrangersTest, WhoAskForNothingDoNotHoldUpTheEndOfTheServerWhenItWaitsForTasks)
{
    m_settings.drainSeconds = 3600;
    start();
    Stranger client(m_address);
    ASSERT_TRUE(sayHello(client, m_token));
    ASSERT_TRUE(canList(client));
    m_server->drain();
    EXPECT_EQ(m_running->wait(20s), true);
}

TEST_F(StrangersTest, CannotTakeAnotherNameAfterTheHello)
{
    start();
    Stranger client(m_address);
    ASSERT_TRUE(sayHello(client, m_token));
    ParamMap task = listTask();
    task.insert("userName"_s, "eve"_s);
    ASSERT_TRUE(client.peer().sendMap(MessageKind::TaskParam, task));
    EXPECT_EQ(client.refusal(), ErrorType::badRequest());
    EXPECT_TRUE(canList(client));
}

} // namespace
