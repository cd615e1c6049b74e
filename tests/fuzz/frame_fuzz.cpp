#include "tests/fuzz/input.h"
#include "vesk_base/frame.h"

using namespace VESK;

namespace
{

/// Takes frames off the front of `stream` as a channel does. A frame whose payload is a text must be what
/// is written for that text.
void readStream(QByteArray stream)
{
    while (stream.size() >= frameHeaderSize) {
        const std::optional<FrameHeader> header = readFrameHeader(stream.constData());
        if (!header)
            return;
        Test::require(header->length >= 0 && header->length <= maxPayload(header->kind));
        const QByteArray frame = stream.left(frameHeaderSize + header->length);
        if (frame.size() < frameHeaderSize + header->length)
            return;
        const std::optional<QString> text = readPayload(frame.mid(frameHeaderSize));
        if (text)
            Test::require(writeFrame(header->kind, *text) == frame);
        stream.remove(0, frame.size());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    readStream(QByteArray(reinterpret_cast<const char *>(data), static_cast<int>(size)));

    const QString text = Test::wideText(data, size);
    const std::optional<QByteArray> frame = writeFrame(static_cast<int>(size), text);
    Test::require(frame.has_value() == text.isValidUtf16());
    if (frame)
        Test::require(readPayload(frame->mid(frameHeaderSize)) == text);
    return 0;
}
