#pragma once

#include <QtCore/QByteArray>

#include <sodium.h>

#include <cstddef>

namespace VESK::Host
{

/// Makes libsodium ready; before its first use, on any thread, as often as wanted. Throws std::runtime_error
/// where the system has no random numbers.
void startSodium();

/// base64url without padding.
QByteArray toBase64(const unsigned char *bytes, std::size_t size);

/// Reads exactly `size` bytes of base64url without padding, white space around them aside. False on anything
/// else.
[[nodiscard]] bool fromBase64(const QByteArray &text, unsigned char *bytes, std::size_t size);

} // namespace VESK::Host
