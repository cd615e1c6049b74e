#include "vesk_base/frame.h"

#include "vesk_base/message_kind.h"

#include <QtCore/QTextCodec>
#include <QtCore/QtEndian>

namespace VESK
{

namespace
{

constexpr quint32 magic = 0x5645534B; // "VESK"
constexpr int kindAt = 4; // byte offsets in the header
constexpr int lengthAt = 8;
constexpr int utf8Mib = 106; // IANA's number for UTF-8

} // namespace

int maxPayload(int kind)
{
    return kind == number(MessageKind::ListContent) ? 32 << 20 : 1 << 20;
}

std::optional<QByteArray> writeFrame(int kind, const QString &text)
{
    if (!text.isValidUtf16())
        return std::nullopt;
    const QByteArray payload = text.toUtf8();
    if (payload.size() > maxPayload(kind))
        return std::nullopt;
    QByteArray frame(frameHeaderSize, Qt::Uninitialized);
    qToBigEndian<quint32>(magic, frame.data());
    qToBigEndian<quint32>(static_cast<quint32>(kind), frame.data() + kindAt);
    qToBigEndian<quint32>(static_cast<quint32>(payload.size()), frame.data() + lengthAt);
    return frame + payload;
}

std::optional<FrameHeader> readFrameHeader(const char *bytes)
{
    if (qFromBigEndian<quint32>(bytes) != magic)
        return std::nullopt;
    const int kind = static_cast<int>(qFromBigEndian<quint32>(bytes + kindAt));
    const quint32 length = qFromBigEndian<quint32>(bytes + lengthAt);
    if (length > static_cast<quint32>(maxPayload(kind)))
        return std::nullopt;
    return FrameHeader{kind, static_cast<int>(length)};
}

std::optional<QString> readPayload(const QByteArray &payload)
{
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);
    const QString text =
        QTextCodec::codecForMib(utf8Mib)->toUnicode(payload.constData(), payload.size(), &state);
    if (state.invalidChars != 0 || state.remainingChars != 0)
        return std::nullopt;
    return text;
}

} // namespace VESK
