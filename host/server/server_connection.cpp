#include "host/server/server_connection.h"

#include "host/error_type.h"
#include "host/server/server_log.h"
#include "host/server/task_gate.h"
#include "host/text.h"

#include "vesk_base/message_channel.h"
#include "vesk_base/message_kind.h"

namespace VESK::Host
{

namespace
{

constexpr int deliverySeconds = 3; // for the last message to reach the client when we close first

QString octal(int mode)
{
    return QString::number(mode, 8);
}

void logTask(VeskBase &handler, bool succeeded)
{
    const QString operation = handler.getParam(QStringLiteral("operator"));
    const QString path = handler.getParam(QStringLiteral("path"));
    const QString end = handler.getParam(QStringLiteral("transferEndSize"));
    if (operation.isEmpty() || operation == QLatin1String("return"))
        return;
    const QString result = succeeded ? QStringLiteral("done") : QStringLiteral("failed");
    QString line = QStringLiteral("%1 %2 %3").arg(operation, path, result);
    if (!end.isEmpty())
        line += QStringLiteral(", bytes %1 to %2")
                    .arg(handler.getParam(QStringLiteral("transferBeginSize")), end);
    logServer(succeeded ? QStringLiteral("info") : QStringLiteral("warning"), line);
}

} // namespace

ServerConnection::ServerConnection(const Context &context, UdtSocket socket, const SocketAddress &peer)
    : m_context(context)
    , m_socket(std::move(socket))
    , m_peer(peer)
    , m_thread([this] { run(); })
{
}

ServerConnection::~ServerConnection()
{
    m_thread.join();
}

void ServerConnection::stop()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isStopping = true;
    if (m_handler)
        (void)m_handler->pause(); // it fails only without a socket, and ours has one
}

void ServerConnection::pauseTask()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_handler)
        (void)m_handler->pause(); // as above
}

bool ServerConnection::publish(VeskBase *handler)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_handler = handler;
    return !m_isStopping;
}

void ServerConnection::run()
{
    const LoggedClient client(m_peer.text());
    logServer(QStringLiteral("debug"), QStringLiteral("connected"));
    Next next = Next::AnotherTask;
    while (next == Next::AnotherTask)
        next = serveTask();
    if (next == Next::CloseAfterDelivery && m_socket.isConnected())
        setLinger(m_socket.id(), deliverySeconds);
    m_socket.close();
    logServer(QStringLiteral("debug"), QStringLiteral("disconnected"));
    m_isFinished = true;
}

void ServerConnection::configure(VeskBase &handler) const
{
    const ServerSettings &settings = m_context.settings;
    const ParamMap params = {
        {QStringLiteral("endPoint"), QStringLiteral("server")},
        {QStringLiteral("serverSocket"), QString::number(m_socket.id())},
        {QStringLiteral("mountPath"), settings.share.directory},
        {QStringLiteral("appPath"), applicationTable(settings.share)},
        {QStringLiteral("fileMod"), octal(settings.fileMode)},
        {QStringLiteral("dirMod"), octal(settings.dirMode)},
        {QStringLiteral("clientIp"), m_peer.hostText()},
        {QStringLiteral("clientPort"), QString::number(m_peer.port())},
    };
    (void)handler.setParams(params); // a host's own map is never refused
}

ServerConnection::Next ServerConnection::serveTask()
{
    const Module::Handler handler = m_context.module.createHandler();
    configure(*handler);
    TaskGate gate(m_context.settings, m_context.uploads, {m_socket.id(), m_peer, [this] { pauseTask(); }});
    handler->setTaskPolicy([&gate](const ParamMap &taskParam) { return gate.judge(taskParam); });

    const bool mayRun = publish(handler.get());
    const bool succeeded = mayRun && handler->process();
    (void)publish(nullptr); // whether to stop is asked at the next task
    if (gate.wasAsked())
        logTask(*handler, succeeded);
    if (succeeded)
        return Next::AnotherTask;
    return mayRun ? afterFailure(*handler, gate) : Next::Close;
}

// The handler of a failed operation has said nothing to the client, which may be waiting for an answer.
ServerConnection::Next ServerConnection::afterFailure(VeskBase &handler, const TaskGate &gate)
{
    const QString reason = handler.getLastError();
    if (reason == QLatin1String("return") || reason == QLatin1String("pause") || !m_socket.isConnected())
        return Next::Close;
    if (handler.hasSent(MessageKind::TaskParamAck))
        return Next::CloseAfterDelivery;

    QString errorType = reason;
    if (errorType.isEmpty())
        errorType = gate.wasAsked() ? ErrorType::serverError() : ErrorType::badRequest();
    const bool isSent = sendRefusal(errorType);
    return isSent && gate.wasAsked() ? Next::AnotherTask : Next::CloseAfterDelivery;
}

bool ServerConnection::sendRefusal(const QString &errorType)
{
    const ParamMap answer = {
        {QStringLiteral("ackRespond"), QStringLiteral("false")},
        {QStringLiteral("errorType"), errorType},
    };
    logServer(QStringLiteral("warning"), QStringLiteral("refused: %1").arg(errorType));
    MessageChannel channel(m_socket.id());
    return channel.send(number(MessageKind::TaskParamAck), VeskBase::serializeParam(answer));
}

} // namespace VESK::Host
