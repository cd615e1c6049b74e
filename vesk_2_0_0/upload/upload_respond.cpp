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

/// What the server's host and the client say about a file and its place.
struct OfferedFile {
    int socket; // UDT socket
    QString mountPath;
    QString name;
    TaskPlace place;
    int fileMode;
    int directoryMode;
    QString verifyMode;
    bool replace;
    std::int64_t size; // bytes; -1 when absent
    std::int64_t mtime; // seconds since 1970; -1 when absent
    QString verifyValue;
};

/// The size is a preset key: when the client sent none, it is there and empty.
std::int64_t readSize(const Operation &op)
{
    const QString text = op.param(Key::fileSize, QLatin1String("-1"));
    return text.isEmpty() ? -1 : text.toLongLong();
}

OfferedFile readOffer(const Operation &op)
{
    OfferedFile offer;
    offer.socket = op.param(Key::serverSocket, QLatin1String("-1")).toInt();
    offer.mountPath = op.param(Key::mountPath);
    offer.name = op.param(Key::fileName);
    offer.place = readTaskPlace(op, Key::destPath);
    offer.fileMode = permissionMode(op, Key::fileMod);
    offer.directoryMode = permissionMode(op, Key::dirMod);
    offer.verifyMode = op.param(Key::bVerify, Word::no);
    offer.replace = op.param(Key::bReplace) == Word::yes;
    offer.size = readSize(op);
    offer.mtime = op.param(Key::mtime, QLatin1String("-1")).toLongLong();
    offer.verifyValue = isVerified(offer.verifyMode) ? op.param(Key::verifyValue) : QString();
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
    if (offset <= offer.size)
        return true;
    op.warn("%1: server tmp offset[%2], client fileSize[%3].", QString::number(offset),
            QString::number(offer.size));
    offset = 0;
    return dropTemporaryFile(op, temporary);
}

/// Records what is being received, and the client's device text, where the host finds them.
void noteTarget(const Operation &op, const QString &target)
{
    op.handler().setParam(Key::path, target);
    const QString mac = op.param(Key::mac);
    op.info("%1: recv mac: %2", mac);
    op.handler().setParam(Key::mac, mac);
}

bool setFileMode(const Operation &op, const QString &temporary, int mode)
{
    if (!VeskBase::chmod(temporary, mode))
        return op.fail("%1: chmod %2 failed.", temporary);
    return true;
}

} // namespace

bool VeskHandler2_0_0::uploadRespond()
{
    const Operation op(*this, "uploadRespond");
    const OfferedFile offer = readOffer(op);
    const std::optional<QString> root = serverRoot(op, offer.mountPath, offer.place);
    if (!root)
        return false;
    const QString target = pathJoin(pathJoin(*root, offer.place.directory), offer.name);
    announce(op, target);

    const bool existed = exist(target);
    const bool transfer = needsUpload(gatherFacts(op, offer, target, existed));
    noteTarget(op, target);
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
    const IncomingFile incoming{offer.socket, target, *temporary, receivingMode(offer.replace), offer.size};
    // clang-format off
    const bool placed = makeDirectory(op, directory)
        && setDirectoryModes(op, *root, directory, offer.directoryMode)
        && receiveBulk(op, incoming, offset)
        && reportVerification(op, offer.verifyMode, *temporary, offer.verifyValue)
        && removeOldTarget(op, target, existed)
        && setFileMode(op, *temporary, offer.fileMode)
        && renameIntoPlace(op, *temporary, target);
    // clang-format on
    if (!placed)
        return false;
    settleTime(op, target, offer.mtime);
    return sendClosingMessage(op, offer.name);
}

} // namespace VESK
