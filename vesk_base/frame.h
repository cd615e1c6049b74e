#pragma once

#include "vesk_base/export.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <cstdint>
#include <optional>

namespace VESK
{

// A frame carries one message: three big-endian 32-bit words (magic "VESK", kind, length of the payload in
// bytes) and the payload, a text in UTF-8. docs/wire-format.md shows one. Pure functions, for any thread.

constexpr int frameHeaderSize = 12; // bytes

struct FrameHeader {
    int kind;
    int length; ///< of the payload, in bytes; within the limit of the kind
};

/// The longest payload of a message of this kind, in bytes: 32 MiB for listings, 1 MiB for all others.
VESK_BASE_EXPORT int maxPayload(int kind);

/// The frame of a message; nothing when the text is no valid UTF-16 or too long for its kind.
VESK_BASE_EXPORT std::optional<QByteArray> writeFrame(int kind, const QString &text);

/// Reads `frameHeaderSize` bytes; nothing when the magic is wrong or the length is beyond the kind's limit.
VESK_BASE_EXPORT std::optional<FrameHeader> readFrameHeader(const char *bytes);

/// The text of a payload; nothing when it is no valid UTF-8. A byte order mark is text like any other.
VESK_BASE_EXPORT std::optional<QString> readPayload(const QByteArray &payload);

} // namespace VESK
