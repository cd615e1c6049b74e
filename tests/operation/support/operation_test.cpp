#include "tests/operation/support/operation_test.h"

#include "tests/support/ordinary_user.h"

#include <thread>

namespace VESK::Test
{

namespace
{

constexpr int hangLimitMs =
    20000; // idle limit of the handler's messages, so that a test fails and does not hang

QString address(const std::int64_t &counter)
{
    return QString::number(reinterpret_cast<std::uintptr_t>(&counter));
}

} // namespace

bool eventually(const std::function<bool()> &condition)
{
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

RunningTask::RunningTask(VeskBase &handler, UdtPair &pair, std::function<void()> atStart)
    : m_pair(pair)
    , m_background([&handler, prepare = std::move(atStart)] {
        if (prepare)
            prepare();
        return handler.process();
    })
{
}

RunningTask::~RunningTask()
{
    if (result(std::chrono::milliseconds(0)))
        return;
    m_pair.closeClient();
    m_pair.closeServer();
}

std::optional<bool> RunningTask::result(std::chrono::milliseconds limit) const
{
    return m_background.wait(limit);
}

OperationTest::OperationTest(const QString &endPoint)
    : m_isServer(endPoint == "server")
    , m_handler(std::make_unique<VeskHandler2_0_0>())
    , peer(m_isServer ? pair.client() : pair.server(), m_isServer ? "client" : "server")
{
    UDT::setsockopt(handlerSocket(), 0, UDT_RCVTIMEO, &hangLimitMs, sizeof hangLimitMs);
    UDT::setsockopt(handlerSocket(), 0, UDT_SNDTIMEO, &hangLimitMs, sizeof hangLimitMs);
    set("endPoint", endPoint);
    set(endPoint + "Socket", QString::number(handlerSocket()));
}

OperationTest::~OperationTest() = default;

void OperationTest::set(const QString &key, const QString &value)
{
    m_settings.insert(key, value);
    EXPECT_TRUE(m_handler->setParam(key, value)) << key.toStdString();
}

RunningTask OperationTest::startAsOrdinaryUser()
{
    return RunningTask(*m_handler, pair, becomeOrdinaryUser);
}

void OperationTest::closeHandlerSocket()
{
    m_isServer ? pair.closeServer() : pair.closeClient();
}

void OperationTest::closePeerSocket()
{
    m_isServer ? pair.closeClient() : pair.closeServer();
}

UDTSOCKET OperationTest::handlerSocket() const
{
    return m_isServer ? pair.server() : pair.client();
}

void OperationTest::replaceHandler(std::unique_ptr<VeskHandler2_0_0> next)
{
    EXPECT_TRUE(next->setParams(m_settings));
    m_handler = std::move(next);
    m_earlierLines = log.lines(m_handler.get()).size();
}

ClientTest::ClientTest(const QString &operation)
    : OperationTest("client")
{
    set("operator", operation);
    set("total", address(total));
    set("offset", address(done));
    set("srcPath", dir.path("local"));
    set("fileName", "file.bin");
    set("destPath", "in/box");
    set("rootPath", "root");
    set("userName", "user");
    set("appKey", "app");
    set("appVersion", "1.0");
    set("bVerify", "false");
    set("bReplace", "false");
    set("mac", "00:11:22:33:44:55");
}

ServerTest::ServerTest()
    : OperationTest("server")
{
    set("mountPath", dir.path("mount"));
    set("appPath", "app:area");
    set("fileMod", "640");
    set("dirMod", "750");
}

ParamMap ServerTest::taskParam(const QString &operation)
{
    return {{"operator", operation},
            {"rootPath", "root"},
            {"userName", "user"},
            {"appKey", "app"},
            {"appVersion", "1.0"}};
}

} // namespace VESK::Test
