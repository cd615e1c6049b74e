#pragma once

#include <QtCore/QString>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace VESK::Test
{

/// Ends the run with a crash that the fuzzer records, in every build type.
inline void require(bool condition)
{
    if (!condition)
        std::abort();
}

/// The bytes of a fuzzer as text, two a character, so that every QString can come up.
inline QString wideText(const std::uint8_t *data, std::size_t size)
{
    QString text;
    for (std::size_t i = 0; i + 1 < size; i += 2)
        text += QChar(static_cast<ushort>(data[i] << 8 | data[i + 1]));
    return text;
}

/// The bytes of a fuzzer as text, decoded as UTF-8, with replacement characters where that fails.
inline QString narrowText(const std::uint8_t *data, std::size_t size)
{
    return QString::fromUtf8(reinterpret_cast<const char *>(data), static_cast<int>(size));
}

} // namespace VESK::Test
