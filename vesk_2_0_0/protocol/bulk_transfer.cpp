#include "vesk_2_0_0/protocol/bulk_transfer.h"

#include "vesk_2_0_0/handler/operation.h"
#include "vesk_2_0_0/handler/param_keys.h"
#include "vesk_base/full_packet.h"
#include "vesk_base/socket_option.h"

#include <udt/udt.h>

#include <algorithm>
#include <limits>

namespace VESK
{

namespace
{

constexpr int sendBlock = 364000; // bytes; 250 packets of the usual size
constexpr int receiveBlock = 20 * sendBlock;
constexpr std::int64_t leastSize =
    std::numeric_limits<std::int64_t>::min() / 2; // bytes; no position is as far
constexpr unsigned int readBinary = 33; // in (1) and binary (32)

/// Text of the last UDT error of this thread; to be read before anything else calls UDT.
QString udtError()
{
    return QString::fromLocal8Bit(UDT::getlasterror().getErrorMessage());
}

/// The task's stream for one bulk call; closed with the scope, whatever way that is left.
class BulkStream
{
public:
    explicit BulkStream(const Operation &op)
        : m_op(op)
    {
    }

    ~BulkStream()
    {
        if (m_isOpen)
            m_op.handler().destroyStream();
    }

    BulkStream(const BulkStream &) = delete;
    BulkStream &operator=(const BulkStream &) = delete;

    /// Null, after a log line that names `path`, on failure.
    std::fstream *open(const QString &opened, unsigned int mode, const QString &path)
    {
        m_isOpen = m_op.handler().createStream(opened, mode);
        if (!m_isOpen) {
            m_op.error("%1: createStream %2 failed.", path);
            return nullptr;
        }
        std::fstream *const stream = m_op.handler().getStream();
        if (stream == nullptr)
            m_op.error("%1: getStream %2 failed.", path);
        return stream;
    }

    void recordEnd(std::int64_t position) const
    {
        m_op.handler().setParam(Key::transferEndSize, QString::number(position));
    }

private:
    const Operation &m_op;
    bool m_isOpen = false;
};

/// Is a last byte to be sent by itself? The bulk call begins a new packet with each of its blocks.
bool needsLastByte(int socket, std::int64_t remaining)
{
    const std::int64_t inLastBlock = (remaining - 1) % sendBlock + 1; // not positive where nothing remains
    return endsWithFullPacket(inLastBlock, packetPayload(socket));
}

/// Sends what there is of a stream from `position` to `end`. False on failure.
bool sendStream(int socket, std::fstream &stream, std::int64_t &position, std::int64_t end)
{
    const std::int64_t last = needsLastByte(socket, end - position) ? 1 : 0;
    if (UDT::sendfile(socket, stream, position, end - last - position, sendBlock) == UDT::ERROR)
        return false;
    return last == 0 || UDT::sendfile(socket, stream, position, last, sendBlock) != UDT::ERROR;
}

/// Null on success, otherwise UDT's error text.
QString callSend(const OutgoingFile &file, std::fstream &stream, std::int64_t &position)
{
    const ScopedSocketOption<bool> blocking(file.socket, UDT_SNDSYN, true); // else the call would never wake
    return sendStream(file.socket, stream, position, file.size) ? QString() : udtError();
}

QString callReceive(const IncomingFile &file, std::fstream &stream, std::int64_t &position)
{
    const ScopedSocketOption<bool> blocking(file.socket, UDT_RCVSYN, true); // else the call would never wake
    // The size is what the peer announced; one below the position moves nothing. The difference must not
    // wrap.
    const std::int64_t remaining = std::max(file.size, leastSize) - position;
    if (UDT::recvfile(file.socket, stream, position, remaining, receiveBlock) == UDT::ERROR)
        return udtError();
    return QString();
}

} // namespace

bool sendBulk(const Operation &op, const OutgoingFile &file, std::int64_t &position)
{
    QString error;
    {
        BulkStream bulk(op);
        std::fstream *const stream = bulk.open(file.path, readBinary, file.path);
        if (stream == nullptr)
            return false;
        error = callSend(file, *stream, position);
        bulk.recordEnd(position);
    }
    if (error.isNull())
        return true;
    op.checkStatus();
    return op.fail("%1: sendfile %2 failed.\n%3", file.path, error);
}

bool receiveBulk(const Operation &op, const IncomingFile &file, std::int64_t &position)
{
    QString error;
    {
        BulkStream bulk(op);
        std::fstream *const stream = bulk.open(file.temporary, file.openMode, file.target);
        if (stream == nullptr)
            return false;
        error = callReceive(file, *stream, position);
        bulk.recordEnd(position);
    }
    if (error.isNull())
        return true;
    op.checkStatus();
    return op.fail("%1: recvfile %2 failed.\n%3", file.target, error);
}

} // namespace VESK
