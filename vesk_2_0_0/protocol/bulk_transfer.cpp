#include "vesk_2_0_0/protocol/bulk_transfer.h"

#include "vesk_2_0_0/handler/operation.h"
#include "vesk_2_0_0/handler/param_keys.h"
#include "vesk_base/full_packet.h"
#include "vesk_base/socket_option.h"

#include <udt/udt.h>

#include <algorithm>

namespace VESK
{

namespace
{

constexpr int sendBlock = 364000; // bytes; 250 packets of the usual size
constexpr int receiveBlock = 20 * sendBlock;
constexpr unsigned int readBinary = 33; // in (1) and binary (32)

/// Text of the last UDT error of this thread; to be read before anything else calls UDT.
QString udtError()
{
    return QString::fromLocal8Bit(UDT::getlasterror().getErrorMessage());
}

/// Opens the task's stream; null, after a log line that names `path`, on failure.
std::fstream *openStream(const Operation &op, const QString &opened, unsigned int mode, const QString &path)
{
    if (!op.handler().createStream(opened, mode)) {
        op.error("%1: createStream %2 failed.", path);
        return nullptr;
    }
    std::fstream *const stream = op.handler().getStream();
    if (stream == nullptr)
        op.error("%1: getStream %2 failed.", path);
    return stream;
}

/// Is a last byte to be sent by itself? The bulk call begins a new packet with each of its blocks.
bool needsLastByte(int socket, std::int64_t remaining)
{
    const std::int64_t inLastBlock = (remaining - 1) % sendBlock + 1;
    return remaining > 0 && endsWithFullPacket(inLastBlock, packetPayload(socket));
}

/// Sends what there is of a stream from `position` to `end`. False on failure.
bool sendStream(int socket, std::fstream &stream, std::int64_t &position, std::int64_t end)
{
    const std::int64_t last = needsLastByte(socket, end - position) ? 1 : 0;
    if (UDT::sendfile(socket, stream, position, end - last - position, sendBlock) == UDT::ERROR)
        return false;
    return last == 0 || UDT::sendfile(socket, stream, position, last, sendBlock) != UDT::ERROR;
}

void closeStream(const Operation &op, std::int64_t position)
{
    op.handler().setParam(Key::transferEndSize, QString::number(position));
    op.handler().destroyStream();
}

} // namespace

bool sendBulk(const Operation &op, const OutgoingFile &file, std::int64_t &position)
{
    std::fstream *const stream = openStream(op, file.path, readBinary, file.path);
    if (stream == nullptr)
        return false;

    QString error;
    {
        const ScopedSocketOption<bool> blocking(file.socket, UDT_SNDSYN,
                                                true); // else the call would never wake
        if (!sendStream(file.socket, *stream, position, file.size))
            error = udtError();
    }
    closeStream(op, position);
    if (error.isNull())
        return true;
    op.checkStatus();
    return op.fail("%1: sendfile %2 failed.\n%3", file.path, error);
}

bool receiveBulk(const Operation &op, const IncomingFile &file, std::int64_t &position)
{
    std::fstream *const stream = openStream(op, file.temporary, file.openMode, file.target);
    if (stream == nullptr)
        return false;

    QString error;
    {
        const ScopedSocketOption<bool> blocking(file.socket, UDT_RCVSYN,
                                                true); // else the call would never wake
        // The size is what the peer announced; one below zero moves nothing, as does any below the position.
        const std::int64_t remaining = std::max<std::int64_t>(file.size, 0) - position;
        if (UDT::recvfile(file.socket, *stream, position, remaining, receiveBlock) == UDT::ERROR)
            error = udtError();
    }
    closeStream(op, position);
    if (error.isNull())
        return true;
    op.checkStatus();
    return op.fail("%1: recvfile %2 failed.\n%3", file.target, error);
}

} // namespace VESK
