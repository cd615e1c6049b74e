#include "host/hello/sodium.h"

#include <stdexcept>

namespace VESK::Host
{

namespace
{

constexpr int variant = sodium_base64_VARIANT_URLSAFE_NO_PADDING;

} // namespace

void startSodium()
{
    if (sodium_init() < 0)
        throw std::runtime_error("libsodium cannot be started");
}

QByteArray toBase64(const unsigned char *bytes, std::size_t size)
{
    QByteArray text(static_cast<int>(sodium_base64_encoded_len(size, variant)), Qt::Uninitialized);
    sodium_bin2base64(text.data(), static_cast<std::size_t>(text.size()), bytes, size, variant);
    text.chop(1); // the terminating NUL, which the length counts
    return text;
}

bool fromBase64(const QByteArray &text, unsigned char *bytes, std::size_t size)
{
    if (text.contains('\0'))
        return false; // the decoder would overlook it
    std::size_t written = 0;
    const char *end = nullptr;
    const char *const begin = text.constData();
    if (sodium_base642bin(bytes, size, begin, static_cast<std::size_t>(text.size()), " \t\r\n", &written,
                          &end, variant)
        != 0)
        return false;
    return written == size && end == begin + text.size();
}

} // namespace VESK::Host
