#include "vesk_2_0_0/handler/vesk_handler_2_0_0.h"

#include "vesk_2_0_0/handler/file_times.h"
#include "vesk_2_0_0/handler/operation.h"
#include "vesk_2_0_0/handler/param_keys.h"
#include "vesk_2_0_0/handler/server_path.h"
#include "vesk_2_0_0/protocol/bulk_transfer.h"
#include "vesk_2_0_0/protocol/closing_message.h"
#include "vesk_2_0_0/protocol/handshake.h"
#include "vesk_2_0_0/protocol/place_file.h"
#include "vesk_2_0_0/protocol/verify_exchange.h"
#include "vesk_2_0_0/upload/upload_decision.h"

#include <QtCore/QFileInfo>

namespace VESK
{

namespace
{

/// What the client said about its file.
struct OfferedFile {
    std::int64_t size; // bytes; -1 when absent
    std::int64_t mtime; // seconds since 1970; -1 when absent
    QString verifyMode;
    QString verifyValue;
    bool replace;
};

OfferedFile readOffer(const Operation &op)
{
    OfferedFile offer;
    // The size is a preset key: when the client sent none, it is there and empty.
    const QString size = op.param(Key::fileSize);
    offer.size = size.isEmpty() ? -1 : size.toLongLong();
    offer.mtime = op.param(Key::mtime, QLatin1String("-1")).toLongLong();
    offer.verifyMode = op.param(Key::bVerify, Word::no);
    offer.verifyValue = isVerified(offer.verifyMode) ? op.param(Key::verifyValue) : QString();
    offer.replace = op.param(Key::bReplace) == Word::yes;
    return offer;
}

UploadFacts gatherFacts(const Operation &op, const OfferedFile &offer, const QString &target, bool existed)
{
    UploadFacts facts{existed, offer.replace, offer.verifyMode, offer.verifyValue, QString(), offer.mtime,
                      -1};
    if (!existed || !isVerified(offer.verifyMode))
        return facts;
    facts.targetValue = op.handler().getFileVerifyValue(target, offer.verifyMode);
    facts.targetTime = modificationTime(QFileInfo(target));
    return facts;
}

/// Where the transfer goes on. A temporary file that cannot belong to the client's file is dropped, even
/// when no data is needed; `transferBeginSize` keeps its size.
bool settleOffset(const Operation &op, const OfferedFile &offer, const QString &temporary,
                  std::int64_t &offset)
{
    offset = offer.replace ? 0 : sizeOnDisk(temporary);
    op.handler().setParam(Key::transferBeginSize, QString::number(offset));
    if (offset >= 0 && offset <= offer.size)
        return true;
    op.warn("%1: server tmp offset[%2], client fileSize[%3].", QString::number(offset),
            QString::number(offer.size));
    offset = 0;
    return dropTemporaryFile(op, temporary);
}

bool setFileMode(const Operation &op, const QString &temporary)
{
    if (!VeskBase::chmod(temporary, permissionMode(op, Key::fileMod)))
        return op.fail("%1: chmod %2 failed.", temporary);
    return true;
}

} // namespace

bool VeskHandler2_0_0::uploadRespond()
{
    const Operation op(*this, "uploadRespond");
    const int socket = op.param(Key::serverSocket, QLatin1String("-1")).toInt();
    const OfferedFile offer = readOffer(op);
    const std::optional<QString> root = serverRoot(op);
    if (!root)
        return false;
    const QString target = pathJoin(pathJoin(*root, op.param(Key::destPath)), op.param(Key::fileName));
    announce(op, target);

    const bool existed = exist(target);
    const bool transfer = needsUpload(gatherFacts(op, offer, target, existed));
    setParam(Key::path, target);
    const QString mac = op.param(Key::mac);
    op.info("%1: recv mac: %2", mac);
    setParam(Key::mac, mac);

    const std::optional<QString> temporary = takeTemporaryFile(op, target);
    std::int64_t offset = 0;
    if (!temporary || !settleOffset(op, offer, *temporary, offset))
        return false;
    const ParamMap ack{{Key::ackRespond, Word::yes},
                       {Key::bTransfer, Word::of(transfer)},
                       {Key::offset, QString::number(offset)}};
    if (!sendAck(op, ack))
        return false;
    if (!transfer) {
        noteSecondPass(op, target);
        settleTime(op, target, offer.mtime);
        return true;
    }
    op.checkStatus();

    const QString directory = QFileInfo(target).path();
    const IncomingFile incoming{socket, target, *temporary, receivingMode(offer.replace), offer.size};
    // clang-format off
    const bool placed = makeDirectory(op, directory)
        && setDirectoryModes(op, *root, directory, permissionMode(op, Key::dirMod))
        && receiveBulk(op, incoming, offset)
        && reportVerification(op, offer.verifyMode, *temporary, offer.verifyValue)
        && removeOldTarget(op, target, existed)
        && setFileMode(op, *temporary)
        && renameIntoPlace(op, *temporary, target);
    // clang-format on
    if (!placed)
        return false;
    settleTime(op, target, offer.mtime);
    return sendClosingMessage(op, op.param(Key::fileName));
}

} // namespace VESK
