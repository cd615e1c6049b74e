#include "tests/faults/support/file_task.h"

#include "tests/support/background.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/udt_pair.h"

#include <QtCore/QFileInfo>
#include <QtCore/QRegularExpression>

namespace VESK::Test
{

namespace
{

constexpr std::chrono::seconds deliveryLimit(1); // for an end's last message, before its host closes
constexpr std::chrono::milliseconds newsLimit(500); // for the word of a close to arrive

QString address(const std::int64_t &counter)
{
    return QString::number(reinterpret_cast<std::uintptr_t>(&counter));
}

const QString storage = "mount/area/root/in";

} // namespace

bool FaultyHandler::setParam(const QString &key, const QString &value)
{
    const bool isSet = StagedHandler::setParam(key, value);
    if (key == "beginTime" && beforeBulk)
        beforeBulk();
    if (key == "transferEndSize" && afterBulk)
        afterBulk();
    return isSet;
}

FileTask::FileTask(const TempDir &dir, Direction direction, const QString &verifyMode)
    : m_dir(dir)
    , m_isUpload(direction == Direction::Upload)
    , m_verifyMode(verifyMode)
{
}

QString FileTask::source() const
{
    return (m_isUpload ? "local" : storage) + "/file.bin";
}

QString FileTask::targetDirectory() const
{
    return m_isUpload ? storage : "local";
}

QString FileTask::target() const
{
    return targetDirectory() + "/file.bin";
}

QString FileTask::temporary() const
{
    const QString path = VeskBase().generateTmpFilePath(m_dir.path(target()));
    return targetDirectory() + '/' + QFileInfo(path).fileName();
}

void FileTask::configure(UDTSOCKET clientSocket, UDTSOCKET serverSocket)
{
    client.setParams({{"endPoint", "client"},
                      {"operator", m_isUpload ? "upload" : "download"},
                      {"fileName", "file.bin"},
                      {m_isUpload ? "srcPath" : "destPath", m_dir.path("local")},
                      {m_isUpload ? "destPath" : "srcPath", "in"},
                      {"rootPath", "root"},
                      {"appKey", "app"},
                      {"bVerify", m_verifyMode},
                      {"bReplace", "false"},
                      {"clientSocket", QString::number(clientSocket)},
                      {"total", address(m_total)},
                      {"offset", address(m_done)}});
    server.setParams({{"endPoint", "server"},
                      {"mountPath", m_dir.path("mount")},
                      {"appPath", "app:area"},
                      {"fileMod", "644"},
                      {"dirMod", "755"},
                      {"serverSocket", QString::number(serverSocket)}});
}

std::function<bool()> FileTask::endOf(FaultyHandler &handler, bool isOrdinary)
{
    return [&handler, isOrdinary] {
        if (isOrdinary)
            becomeOrdinaryUser();
        return handler.process();
    };
}

void FileTask::atAnswer(FaultyHandler &handler, const std::function<void()> &fault)
{
    const auto stage = [fault](int kind) {
        if (kind == number(MessageKind::TaskParamAck))
            fault();
    };
    handler.afterSend = stage;
    handler.afterRecv = stage;
}

QString FileTask::lastError(const LogRecorder &log, const FaultyHandler &handler)
{
    const QString level = "error|";
    const QStringList errors = log.lines(&handler).filter(QRegularExpression("^error\\|"));
    return errors.isEmpty() ? QString() : errors.last().mid(level.size());
}

bool FileTask::run(UDTSOCKET clientSocket, UDTSOCKET serverSocket)
{
    configure(clientSocket, serverSocket);
    const bool ordinaryClient = m_isUpload ? m_ordinarySender : m_ordinaryReceiver;
    const bool ordinaryServer = m_isUpload ? m_ordinaryReceiver : m_ordinarySender;
    const Background serving(endOf(server, ordinaryServer));
    const Background asking(endOf(client, ordinaryClient));

    const auto end = std::chrono::steady_clock::now() + limit;
    constexpr std::chrono::milliseconds glance(5);
    while (!(asking.wait(glance) && serving.wait(std::chrono::milliseconds(0)))) {
        const bool late = std::chrono::steady_clock::now() > end;
        const bool clientFailed = asking.wait(std::chrono::milliseconds(0)) == false;
        const bool serverFailed = serving.wait(std::chrono::milliseconds(0)) == false;
        if (!late && !clientFailed && !serverFailed)
            continue;
        const UDTSOCKET failed = serverFailed ? serverSocket : clientSocket;
        (void)waitUntilDelivered(failed, deliveryLimit); // what nobody takes any more is lost
        UDT::close(failed);
        (void)(serverFailed ? asking : serving).wait(newsLimit); // when it does not come, we tell it
        UDT::close(clientSocket);
        UDT::close(serverSocket);
        break;
    }
    const auto clientResult = asking.wait(std::chrono::seconds(30));
    const auto serverResult = serving.wait(std::chrono::seconds(30));
    m_clientResult = clientResult == true;
    m_serverResult = serverResult == true;
    return clientResult && serverResult;
}

const std::vector<Transfer> &allTransfers()
{
    static const std::vector<Transfer> transfers{{Direction::Upload, "xxh128"},
                                                 {Direction::Upload, "false"},
                                                 {Direction::Download, "xxh128"},
                                                 {Direction::Download, "false"}};
    return transfers;
}

std::ostream &operator<<(std::ostream &out, const Transfer &transfer)
{
    return out << transferName(transfer);
}

std::string transferName(const Transfer &transfer)
{
    const bool isVerified = transfer.verifyMode != std::string("false");
    return std::string(transfer.direction == Direction::Upload ? "Upload" : "Download")
        + (isVerified ? "Verified" : "Unverified");
}

} // namespace VESK::Test
