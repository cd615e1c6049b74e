#include "vesk_2_0_0/handler/vesk_handler_2_0_0.h"

#include "vesk_2_0_0/handler/file_times.h"
#include "vesk_2_0_0/handler/host_counters.h"
#include "vesk_2_0_0/handler/operation.h"
#include "vesk_2_0_0/handler/param_keys.h"
#include "vesk_2_0_0/protocol/bulk_transfer.h"
#include "vesk_2_0_0/protocol/closing_message.h"
#include "vesk_2_0_0/protocol/handshake.h"
#include "vesk_2_0_0/protocol/verify_exchange.h"

namespace VESK
{

namespace
{

QStringList uploadKeys()
{
    return {Key::operation, Key::fileName,   Key::destPath, Key::rootPath, Key::userName,
            Key::appKey,    Key::appVersion, Key::bVerify,  Key::bReplace, Key::mac};
}

/// Adds what the server needs to know about the file. Its existence is not looked at yet.
bool describeFile(const Operation &op, const QString &path, const FileStatus &status,
                  const QString &verifyMode, ParamMap &params)
{
    params.insert(Key::fileSize, QString::number(status.size));
    params.insert(Key::mtime, QString::number(status.mtime));
    if (!isVerified(verifyMode))
        return true;
    const QString value = op.handler().getFileVerifyValue(path, verifyMode);
    if (value.isEmpty())
        return op.fail("%1: calc FileVerifyValue failed.");
    params.insert(Key::verifyValue, value);
    return true;
}

} // namespace

bool VeskHandler2_0_0::uploadRequest()
{
    const Operation op(*this, "uploadRequest");
    const int socket = op.param(Key::clientSocket, QLatin1String("-1")).toInt();
    const QString fileName = op.param(Key::fileName);
    const QString path = pathJoin(op.param(Key::srcPath), fileName);
    const QString verifyMode = op.param(Key::bVerify, Word::no);
    const std::optional<HostCounters> counters = readHostCounters(op);
    if (!counters)
        return false;

    std::optional<ParamMap> params = collectParams(op, uploadKeys());
    if (!params)
        return false;
    const FileStatus status = statusForSending(path);
    if (!describeFile(op, path, status, verifyMode, *params))
        return false;
    publish(counters->total, status.size);
    if (!exist(path))
        return op.fail("%1: file %2 not exist.", path);

    if (!sendTaskParam(op, *params))
        return false;
    const std::optional<ParamMap> ack = receiveAck(op);
    if (!ack)
        return false;
    const std::int64_t resume = ack->value(Key::offset, QLatin1String("-1")).toLongLong();
    publish(counters->done, resume);
    setParam(Key::transferBeginSize, QString::number(resume)); // also when the answer is a refusal
    if (!isAccepted(op, *ack))
        return false;
    if (ack->value(Key::bTransfer) == Word::no) {
        noteSecondPass(op, path);
        return true;
    }
    if (resume < 0 || resume > status.size)
        return op.fail("%1: get offset[%2] fileSize[%3] failed.", QString::number(resume),
                       QString::number(status.size));
    op.checkStatus();

    // clang-format off
    return sendBulk(op, {socket, path, status.size}, *counters->done)
        && awaitVerification(op, verifyMode)
        && awaitClosingMessage(op);
    // clang-format on
}

} // namespace VESK
