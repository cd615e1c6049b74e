#include "host/server/server_connection.h"

#include "host/error_type.h"
#include "host/server/server_log.h"
#include "host/server/task_gate.h"
#include "host/text.h"
#include "transport/connection_figures.h"

#include "vesk_base/message_channel.h"
#include "vesk_base/message_kind.h"

#include <QtCore/QDateTime>
#include <QtCore/QFileInfo>

#include <utility>

namespace VESK::Host
{

namespace
{

constexpr int deliverySeconds = 3; // for the last message to reach the client when we close first
constexpr std::chrono::milliseconds deliveryLook(10);

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
    , m_socketId(socket.id())
    , m_socket(std::move(socket))
    , m_peer(peer)
    , m_terms(context.terms.get())
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
    m_stopped.notify_all();
    if (m_handler)
        (void)m_handler->pause(); // it fails only without a socket, and ours has one
    else
        (void)UDT::close(m_socketId); // ends the wait for the next message; closed already is as good
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

ConnectionStatus ServerConnection::status()
{
    ConnectionStatus status;
    status.client = m_peer.text();
    status.seconds =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - m_begin).count();
    status.roundTripMs = roundTripMs(m_socketId);
    const std::lock_guard<std::mutex> lock(m_mutex);
    status.user = m_user;
    if (!m_handler)
        return status;
    status.operation = m_handler->getParam(QStringLiteral("operator"));
    status.path = m_handler->getParam(QStringLiteral("path"));
    bool hasSize = false;
    const qint64 size = m_handler->getParam(QStringLiteral("fileSize")).toLongLong(&hasSize);
    const QString partial = m_handler->getParam(QStringLiteral("tmpFilePath"));
    if (status.operation == QLatin1String("upload") && hasSize && !partial.isEmpty()) {
        status.size = size;
        status.received = QFileInfo(partial).size();
    }
    return status;
}

void ServerConnection::run()
{
    const IdleWatch::Visit visit(m_context.idle);
    const LoggedClient client(m_peer.text());
    logServer(QStringLiteral("debug"), QStringLiteral("connected"));
    if (m_context.witnesses.meter)
        m_context.witnesses.meter->addConnection();
    Next next = admit();
    MessageChannel channel(m_socket.id());
    while (next == Next::AnotherTask)
        next = serveMessage(channel);
    if (next == Next::CloseAfterDelivery && m_socket.isConnected())
        setLinger(m_socket.id(), deliverySeconds);
    if (m_isGuest) { // before the client can see the end, and come again
        m_context.places.giveBack(m_user);
        --m_context.guests;
    }
    if (m_context.witnesses.meter)
        m_context.witnesses.meter->endConnection(repeatedPackets(m_socketId));
    m_socket.close();
    logServer(QStringLiteral("debug"), QStringLiteral("disconnected"));
    m_isFinished = true;
}

// What a connection opens with. A stranger has little time and room for it, unless everybody is welcome: then
// a client without a hello may hash its file for as long as it wants before it says anything.
ServerConnection::Next ServerConnection::admit()
{
    MessageChannel channel(m_socket.id());
    if (hello().token)
        channel.limit(maxHelloBytes, std::chrono::steady_clock::now() + hello().limit);
    Message first;
    if (!channel.recvAny(first.kind, first.text)) {
        logServer(QStringLiteral("debug"), QStringLiteral("said nothing that opens a connection"));
        return m_socket.isConnected() ? refuseAndClose(ErrorType::badRequest()) : Next::Close;
    }
    if (m_context.tasks.isRefusing())
        return refuseAndClose(ErrorType::shuttingDown());
    if (first.kind != number(HostMessage::ClientHello))
        return admitWithoutHello(first);
    // Said here, the client hears it before it gets ready for a task.
    if (m_context.guests >= m_terms->settings.maxConnections)
        return refuseAndClose(ErrorType::tooManyConnections());
    channel.limit(maxHelloBytes, std::chrono::steady_clock::now() + hello().limit);
    return judgeReception(receiveHello(channel, hello(), first.text));
}

ServerConnection::Next ServerConnection::admitWithoutHello(const Message &first)
{
    if (first.kind != number(MessageKind::TaskParam))
        return refuseAndClose(ErrorType::badRequest());
    if (hello().token)
        return refuseAndClose(ErrorType::helloRequired());
    m_pending = first;
    return takePlace();
}

ServerConnection::Next ServerConnection::judgeReception(const Reception &reception)
{
    switch (reception.result) {
    case Reception::Result::Admitted:
        break;
    case Reception::Result::Refused:
        return refuseAndClose(reception.errorType);
    case Reception::Result::NotProven:
        return punish();
    case Reception::Result::Gone:
        // A client that has another token sees so in our answer, and leaves.
        logServer(QStringLiteral("warning"),
                  QStringLiteral("left during the hello, as clients do that have another token"));
        return Next::Close;
    }
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_user = reception.user;
    }
    logServer(QStringLiteral("debug"),
              QStringLiteral("hello of %1, version %2").arg(reception.user, reception.version));
    return takePlace();
}

ServerConnection::Next ServerConnection::takePlace()
{
    const bool isRoom = ++m_context.guests <= m_terms->settings.maxConnections;
    if (!isRoom || !m_context.places.take(m_user, m_terms->settings.maxTasksPerUser)) {
        --m_context.guests;
        return refuseAndClose(ErrorType::tooManyConnections());
    }
    m_isGuest = true;
    return Next::AnotherTask;
}

// Only this client's thread waits.
ServerConnection::Next ServerConnection::punish()
{
    const std::optional<GuessDelay::Wait> wait = m_context.guesses.begin(m_peer, GuessDelay::Clock::now());
    if (!wait) {
        logServer(QStringLiteral("warning"), QStringLiteral("wrong token, one of many: no answer"));
        return Next::Close;
    }
    logServer(QStringLiteral("warning"),
              QStringLiteral("wrong token, answered in %1 ms").arg(wait->duration().count()));
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (m_stopped.wait_for(lock, wait->duration(), [this] { return m_isStopping; }))
            return Next::Close;
    }
    return refuseAndClose(ErrorType::notAllowed());
}

void ServerConnection::configure(VeskBase &handler, const Share *share) const
{
    ParamMap params = {
        {QStringLiteral("endPoint"), QStringLiteral("server")},
        {QStringLiteral("serverSocket"), QString::number(m_socket.id())},
        {QStringLiteral("clientIp"), m_peer.hostText()},
        {QStringLiteral("clientPort"), QString::number(m_peer.port())},
    };
    if (share) {
        params.insert(QStringLiteral("mountPath"), share->directory);
        params.insert(QStringLiteral("appPath"), applicationTable(*share));
        params.insert(QStringLiteral("fileMod"), octal(share->fileMode));
        params.insert(QStringLiteral("dirMod"), octal(share->dirMode));
    }
    (void)handler.setParams(params); // a host's own map is never refused
}

ServerConnection::Next ServerConnection::serveMessage(MessageChannel &channel)
{
    Message message;
    if (m_pending) {
        message = *std::exchange(m_pending, std::nullopt);
    } else if (!channel.recvAny(message.kind, message.text)) {
        // Something came that is no message, or is no text.
        return m_socket.isConnected() ? refuseAndClose(ErrorType::badRequest()) : Next::Close;
    }
    if (message.kind == number(MessageKind::TaskParam))
        return serveTask(message);
    if (message.kind != number(HostMessage::Ping))
        return refuseAndClose(ErrorType::badRequest());
    const QString pong = pongText(QDateTime::currentMSecsSinceEpoch());
    return channel.send(number(HostMessage::Pong), pong) ? Next::AnotherTask : Next::Close;
}

ServerConnection::Next ServerConnection::serveTask(const Message &message)
{
    const RunningTasks::Entry entry(m_context.tasks);
    if (!entry.isTaken()) {
        const ParamMap task = VeskBase::unSerializeParam(message.text);
        const bool isFarewell = task.value(QStringLiteral("operator")) == QLatin1String("return");
        return isFarewell ? Next::Close : refuseAndClose(ErrorType::shuttingDown());
    }
    const Next next = runTask(message);
    if (m_context.tasks.isRefusing() && next == Next::AnotherTask)
        awaitDelivery();
    return next;
}

// The last task's end may be the server's, and its last message is not to be lost with it.
void ServerConnection::awaitDelivery()
{
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(deliverySeconds);
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_isStopping && m_socket.isConnected() && unsentBytes(m_socketId) > 0
           && std::chrono::steady_clock::now() < limit)
        (void)m_stopped.wait_for(lock, deliveryLook); // asked again above
}

ServerConnection::Next ServerConnection::runTask(const Message &message)
{
    const ParamMap task = VeskBase::unSerializeParam(message.text);
    m_terms = m_context.terms.get();
    const Share *const share = m_terms->settings.findShare(task.value(QStringLiteral("appKey")));
    const Module::Handler handler = m_context.module.createHandler();
    configure(*handler, share);
    TaskGate gate(share, m_context.uploads, {m_socket.id(), m_peer, m_user, [this] { pauseTask(); }});
    handler->setTaskPolicy([&gate](const ParamMap &taskParam) { return gate.judge(taskParam); });
    handler->handOn(message.kind, message.text);

    const bool mayRun = publish(handler.get());
    const bool succeeded = mayRun && handler->process();
    (void)publish(nullptr); // whether to stop is asked at the next task
    if (gate.wasAsked()) {
        logTask(*handler, succeeded);
        testify(*handler, share, succeeded);
    }
    if (succeeded)
        return Next::AnotherTask;
    return mayRun ? afterFailure(*handler, gate) : Next::Close;
}

void ServerConnection::testify(VeskBase &handler, const Share *share, bool succeeded) const
{
    const QString operation = handler.getParam(QStringLiteral("operator"));
    if (operation.isEmpty() || operation == QLatin1String("return") || !share)
        return;
    const qint64 end = handler.getParam(QStringLiteral("transferEndSize")).toLongLong();
    const qint64 begin = handler.getParam(QStringLiteral("transferBeginSize")).toLongLong();
    if (m_context.witnesses.meter)
        m_context.witnesses.meter->addTask(
            {operation, succeeded, end > 0 ? end - begin : 0, roundTripMs(m_socketId)});
    const bool isPlaced = succeeded && operation == QLatin1String("upload")
        && !handler.getParam(QStringLiteral("transferEndSize")).isEmpty();
    if (isPlaced && m_context.witnesses.hook)
        m_context.witnesses.hook->add(
            {share->name, handler.getParam(QStringLiteral("path")), m_user, m_peer.text(), end});
}

ServerConnection::Next ServerConnection::refuseAndClose(const QString &errorType)
{
    return sendRefusal(errorType) ? Next::CloseAfterDelivery : Next::Close;
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
    if (m_context.witnesses.meter)
        m_context.witnesses.meter->addRefusal(errorType);
    MessageChannel channel(m_socket.id());
    return channel.send(number(MessageKind::TaskParamAck), VeskBase::serializeParam(answer));
}

} // namespace VESK::Host
