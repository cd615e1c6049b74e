#include "vesk_2_0_0/handler/vesk_handler_2_0_0.h"

#include "vesk_2_0_0/download/download_decision.h"
#include "vesk_2_0_0/handler/file_times.h"
#include "vesk_2_0_0/handler/operation.h"
#include "vesk_2_0_0/handler/param_keys.h"
#include "vesk_2_0_0/handler/server_path.h"
#include "vesk_2_0_0/protocol/bulk_transfer.h"
#include "vesk_2_0_0/protocol/closing_message.h"
#include "vesk_2_0_0/protocol/handshake.h"
#include "vesk_2_0_0/protocol/verify_exchange.h"

#include <QtCore/QFileInfo>

namespace VESK
{

namespace
{

/// What the client asks for, and what it has of it.
struct RequestedFile {
    int socket; // UDT socket
    QString name;
    QString mountPath;
    TaskPlace place;
    QString verifyMode;
    std::int64_t offset; // where the client's temporary file ends, in bytes; -1 when absent
    std::int64_t clientTime; // of the client's existing file, in seconds since 1970; -1 when absent
};

/// The offset is a preset key: when the client sent none, it is there and empty.
std::int64_t readOffset(const Operation &op)
{
    const QString text = op.param(Key::offset, QLatin1String("-1"));
    const std::int64_t offset = text.isEmpty() ? -1 : text.toLongLong();
    op.handler().setParam(Key::transferBeginSize, QString::number(offset));
    return offset;
}

RequestedFile readRequest(const Operation &op)
{
    RequestedFile file;
    file.socket = op.param(Key::serverSocket, QLatin1String("-1")).toInt();
    file.name = op.param(Key::fileName);
    file.mountPath = op.param(Key::mountPath);
    file.place = readTaskPlace(op, Key::srcPath);
    file.verifyMode = op.param(Key::bVerify, Word::no);
    file.offset = readOffset(op);
    file.clientTime = op.param(Key::mtime, QLatin1String("-1")).toLongLong();
    return file;
}

/// Sets an offset that lies outside the file to its start. True when it did: the client must drop its
/// temporary file.
bool rejectOffset(const Operation &op, std::int64_t size, std::int64_t &offset)
{
    if (offset >= 0 && offset <= size)
        return false;
    op.warn("%1: client tmp file offset[%2], server file size[%3].", QString::number(offset),
            QString::number(size));
    offset = 0;
    return true;
}

DownloadFacts gatherFacts(const Operation &op, const RequestedFile &file, const QString &path,
                          std::int64_t serverTime)
{
    DownloadFacts facts;
    facts.verifyMode = file.verifyMode;
    facts.clientTime = file.clientTime;
    facts.serverTime = serverTime;
    if (isVerified(facts.verifyMode)) {
        facts.clientValue = op.param(Key::verifyValue);
        facts.serverValue = op.handler().getFileVerifyValue(path, facts.verifyMode);
    }
    return facts;
}

} // namespace

bool VeskHandler2_0_0::downloadRespond()
{
    const Operation op(*this, "downloadRespond");
    const RequestedFile file = readRequest(op);
    const std::optional<QString> root = serverRoot(op, file.mountPath, file.place);
    if (!root)
        return false;
    const QString path = pathJoin(pathJoin(*root, file.place.directory), file.name);
    op.info("%1: Process downloading %2 ...", path);

    const bool exists = exist(path);
    const QFileInfo info(path);
    const std::int64_t size = info.size();
    const std::int64_t mtime = modificationTime(info);
    std::int64_t offset = file.offset;
    const bool truncate = rejectOffset(op, size, offset);
    const DownloadFacts facts = gatherFacts(op, file, path, mtime);
    const bool transfer = needsDownload(facts);
    setParam(Key::path, path);
    setParam(Key::fileSize, QString::number(size));

    ParamMap ack{{Key::ackRespond, Word::of(exists)},    {Key::bTruncate, Word::of(truncate)},
                 {Key::fileSize, QString::number(size)}, {Key::verifyValue, facts.serverValue},
                 {Key::mtime, QString::number(mtime)},   {Key::bTransfer, Word::of(transfer)}};
    if (!exists) {
        ack.insert(Key::errorType, Word::fileNotExist);
        ack.insert(Key::errorName, path);
    }
    if (!sendAck(op, ack))
        return false;
    if (!exists)
        return op.fail("%1: file %2 not exist.", path);
    if (!transfer) {
        noteSecondPass(op, path);
        return true;
    }
    op.checkStatus();

    // clang-format off
    return sendBulk(op, {file.socket, path, size}, offset)
        && awaitVerification(op, file.verifyMode)
        && awaitClosingMessage(op);
    // clang-format on
}

} // namespace VESK
