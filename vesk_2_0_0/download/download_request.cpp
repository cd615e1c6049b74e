#include "vesk_2_0_0/handler/vesk_handler_2_0_0.h"

#include "vesk_2_0_0/handler/file_times.h"
#include "vesk_2_0_0/handler/host_counters.h"
#include "vesk_2_0_0/handler/operation.h"
#include "vesk_2_0_0/handler/param_keys.h"
#include "vesk_2_0_0/protocol/bulk_transfer.h"
#include "vesk_2_0_0/protocol/closing_message.h"
#include "vesk_2_0_0/protocol/handshake.h"
#include "vesk_2_0_0/protocol/place_file.h"
#include "vesk_2_0_0/protocol/verify_exchange.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

namespace VESK
{

namespace
{

QStringList downloadKeys()
{
    return {Key::operation, Key::fileName, Key::srcPath,    Key::rootPath,
            Key::userName,  Key::appKey,   Key::appVersion, Key::bVerify};
}

/// What the server said about its file.
struct OfferedFile {
    bool truncate; // the temporary file cannot be continued
    std::int64_t size; // bytes
    QString verifyValue;
    std::int64_t mtime; // seconds since 1970
    bool transfer;
    bool missing;
    QString missingPath; // on the server
};

OfferedFile readOffer(const ParamMap &ack)
{
    OfferedFile offer;
    offer.truncate = ack.value(Key::bTruncate) == Word::yes;
    offer.size = ack.value(Key::fileSize, QLatin1String("-1")).toLongLong();
    offer.verifyValue = ack.value(Key::verifyValue);
    offer.mtime = ack.value(Key::mtime, QLatin1String("-1")).toLongLong();
    offer.transfer = ack.value(Key::bTransfer) != Word::no;
    offer.missing = ack.value(Key::errorType) == Word::fileNotExist;
    offer.missingPath = ack.value(Key::errorName);
    return offer;
}

/// Tells the server about the file that is already here, so that it can decide whether data must flow.
bool describeLocalFile(const Operation &op, const QString &local, const QString &verifyMode, ParamMap &params)
{
    const QString value = op.handler().getFileVerifyValue(local, verifyMode);
    if (value.isEmpty())
        return op.fail("%1: calc FileVerifyValue failed.");
    params.insert(Key::verifyValue, value);
    params.insert(Key::mtime, QString::number(modificationTime(QFileInfo(local))));
    return true;
}

/// Keeps the device text where the host finds it after the task.
void noteDevice(const Operation &op)
{
    const QString mac = op.param(Key::mac);
    op.info("%1: local mac %2", mac);
    op.handler().setParam(Key::mac, mac);
}

bool startOver(const Operation &op, const OfferedFile &offer, const QString &temporary, std::int64_t *done)
{
    op.warn("%1: client tmp file offset[%2], server file size[%3], remove tmp file [%4].",
            QString::number(*done), QString::number(offer.size), temporary);
    if (!dropTemporaryFile(op, temporary))
        return false;
    publish(done, 0);
    return true;
}

} // namespace

bool VeskHandler2_0_0::downloadRequest()
{
    const Operation op(*this, "downloadRequest");
    const int socket = op.param(Key::clientSocket, QLatin1String("-1")).toInt();
    const QString fileName = op.param(Key::fileName);
    const QString local = pathJoin(op.param(Key::destPath), fileName);
    const QString verifyMode = op.param(Key::bVerify, Word::no);
    const bool replace = op.param(Key::bReplace) == Word::yes;
    const std::optional<HostCounters> counters = readBothHostCounters(op);
    if (!counters)
        return false;
    std::optional<ParamMap> params = collectParams(op, downloadKeys());
    if (!params)
        return false;

    const bool existed = exist(local);
    if (existed && !replace && !isVerified(verifyMode)) {
        publish(counters->total, sizeOnDisk(local));
        return true; // kept as it is, without a word to the server
    }
    if (existed && isVerified(verifyMode) && !describeLocalFile(op, local, verifyMode, *params))
        return false;
    noteDevice(op);

    const std::optional<QString> temporary = takeTemporaryFile(op, local);
    if (!temporary)
        return false;
    publish(counters->done, replace ? 0 : sizeOnDisk(*temporary));
    const QString begin = QString::number(*counters->done);
    setParam(Key::transferBeginSize, begin);
    params->insert(Key::offset, begin);

    if (!sendTaskParam(op, *params))
        return false;
    const std::optional<ParamMap> ack = receiveAck(op);
    if (!ack || !isAccepted(op, *ack))
        return false;
    const OfferedFile offer = readOffer(*ack);
    if (offer.missing) {
        op.error("%1: server file [%2] not existed .", offer.missingPath);
        QFile::remove(*temporary); // if it cannot be removed, it only waits for a file that may come back
        return false;
    }
    if (offer.truncate && !startOver(op, offer, *temporary, counters->done))
        return false;
    publish(counters->total, offer.size);
    if (!offer.transfer) {
        noteSecondPass(op, local);
        settleTime(op, local, offer.mtime);
        return true;
    }
    op.checkStatus();

    const IncomingFile incoming{socket, local, *temporary, receivingMode(replace), offer.size};
    // clang-format off
    const bool placed = makeDirectory(op, QFileInfo(local).path())
        && receiveBulk(op, incoming, *counters->done)
        && reportVerification(op, verifyMode, *temporary, offer.verifyValue)
        && removeOldTarget(op, local, existed)
        && renameIntoPlace(op, *temporary, local);
    // clang-format on
    if (!placed)
        return false;
    settleTime(op, local, offer.mtime);
    return sendClosingMessage(op, fileName);
}

} // namespace VESK
