#include "host/hello/token.h"

#include "host/hello/sodium.h"

namespace VESK::Host
{

Token::Token()
{
    startSodium();
}

Token::~Token()
{
    sodium_memzero(m_bytes.data(), m_bytes.size());
}

Token::Token(Token &&other) noexcept
    : m_bytes(other.m_bytes)
{
    sodium_memzero(other.m_bytes.data(), other.m_bytes.size());
}

Token &Token::operator=(Token &&other) noexcept
{
    if (this != &other) {
        m_bytes = other.m_bytes;
        sodium_memzero(other.m_bytes.data(), other.m_bytes.size());
    }
    return *this;
}

Token Token::random()
{
    Token token;
    randombytes_buf(token.m_bytes.data(), token.m_bytes.size());
    return token;
}

std::optional<Token> Token::fromText(const QByteArray &text)
{
    Token token;
    if (!fromBase64(text, token.m_bytes.data(), token.m_bytes.size()))
        return std::nullopt;
    return token;
}

QByteArray Token::text() const
{
    return toBase64(m_bytes.data(), m_bytes.size());
}

void wipe(QByteArray *text)
{
    sodium_memzero(text->data(), static_cast<std::size_t>(text->size()));
    text->clear();
}

} // namespace VESK::Host
