#include "host/hello/hello_proof.h"

#include "host/hello/sodium.h"

#include <QtCore/QtEndian>

#include <array>

namespace VESK::Host
{

namespace
{

constexpr std::size_t nonceSize = 32; // bytes

// One key for each purpose, so that what was made for one cannot serve another.
const QString serverLabel = QStringLiteral("vesk hello 1 server proof");
const QString clientLabel = QStringLiteral("vesk hello 1 client proof");
const QString sealLabel = QStringLiteral("vesk hello 1 shares");

// Each text with its length before it: no two lists give the same bytes.
QByteArray joined(const QStringList &texts)
{
    QByteArray bytes;
    for (const QString &text : texts) {
        const QByteArray utf8 = text.toUtf8();
        QByteArray length(sizeof(quint64), Qt::Uninitialized);
        qToBigEndian<quint64>(static_cast<quint64>(utf8.size()), length.data());
        bytes += length + utf8;
    }
    return bytes;
}

const unsigned char *bytesOf(const QByteArray &array)
{
    return reinterpret_cast<const unsigned char *>(array.constData());
}

unsigned char *bytesOf(QByteArray &array)
{
    return reinterpret_cast<unsigned char *>(array.data());
}

/// A key that lives as long as one computation.
class DerivedKey
{
public:
    static constexpr std::size_t size = 32; // bytes; of crypto_auth and crypto_secretbox

    DerivedKey(const Token &token, const QStringList &purpose)
    {
        const QByteArray text = joined(purpose);
        crypto_generichash(m_bytes.data(), m_bytes.size(), bytesOf(text),
                           static_cast<unsigned long long>(text.size()), token.data(), Token::size);
    }
    ~DerivedKey() { sodium_memzero(m_bytes.data(), m_bytes.size()); }
    DerivedKey(const DerivedKey &) = delete;
    DerivedKey &operator=(const DerivedKey &) = delete;

    const unsigned char *data() const { return m_bytes.data(); }

private:
    std::array<unsigned char, size> m_bytes{};
};

static_assert(DerivedKey::size == crypto_auth_KEYBYTES);
static_assert(DerivedKey::size == crypto_secretbox_KEYBYTES);

const QString &labelOf(Role role)
{
    return role == Role::Server ? serverLabel : clientLabel;
}

} // namespace

QString newNonce()
{
    startSodium();
    std::array<unsigned char, nonceSize> bytes{};
    randombytes_buf(bytes.data(), bytes.size());
    return QString::fromLatin1(toBase64(bytes.data(), bytes.size()));
}

bool isNonce(const QString &text)
{
    std::array<unsigned char, nonceSize> bytes{};
    return fromBase64(text.toUtf8(), bytes.data(), bytes.size());
}

QString makeProof(const Token &token, Role role, const QStringList &said)
{
    const DerivedKey key(token, {labelOf(role)});
    const QByteArray message = joined(said);
    std::array<unsigned char, crypto_auth_BYTES> proof{};
    crypto_auth(proof.data(), bytesOf(message), static_cast<unsigned long long>(message.size()), key.data());
    return QString::fromLatin1(toBase64(proof.data(), proof.size()));
}

bool isProof(const Token &token, Role role, const QStringList &said, const QString &proof)
{
    std::array<unsigned char, crypto_auth_BYTES> claimed{};
    if (!fromBase64(proof.toUtf8(), claimed.data(), claimed.size()))
        return false;
    const DerivedKey key(token, {labelOf(role)});
    const QByteArray message = joined(said);
    return crypto_auth_verify(claimed.data(), bytesOf(message),
                              static_cast<unsigned long long>(message.size()), key.data())
        == 0;
}

QString seal(const Token &token, const QStringList &context, const QString &plain)
{
    const DerivedKey key(token, QStringList{sealLabel} + context);
    const QByteArray message = plain.toUtf8();
    QByteArray sealed(static_cast<int>(crypto_secretbox_NONCEBYTES + crypto_secretbox_MACBYTES)
                          + message.size(),
                      Qt::Uninitialized);
    randombytes_buf(sealed.data(), crypto_secretbox_NONCEBYTES);
    crypto_secretbox_easy(bytesOf(sealed) + crypto_secretbox_NONCEBYTES, bytesOf(message),
                          static_cast<unsigned long long>(message.size()), bytesOf(sealed), key.data());
    return QString::fromLatin1(toBase64(bytesOf(sealed), static_cast<std::size_t>(sealed.size())));
}

std::optional<QString> unseal(const Token &token, const QStringList &context, const QString &sealed)
{
    constexpr int overhead = static_cast<int>(crypto_secretbox_NONCEBYTES + crypto_secretbox_MACBYTES);
    const QByteArray bytes = QByteArray::fromBase64(
        sealed.toLatin1(), QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
    if (bytes.size() < overhead)
        return std::nullopt;
    const DerivedKey key(token, QStringList{sealLabel} + context);
    QByteArray plain(bytes.size() - overhead, Qt::Uninitialized);
    const auto length = static_cast<unsigned long long>(bytes.size()) - crypto_secretbox_NONCEBYTES;
    if (crypto_secretbox_open_easy(bytesOf(plain), bytesOf(bytes) + crypto_secretbox_NONCEBYTES, length,
                                   bytesOf(bytes), key.data())
        != 0)
        return std::nullopt;
    return QString::fromUtf8(plain);
}

} // namespace VESK::Host
