#pragma once

#include <QtCore/QByteArray>

#include <array>
#include <cstddef>
#include <optional>

namespace VESK::Host
{

/// The secret that a server and its clients share. It never travels; its memory is overwritten when it goes.
///
/// Always 32 random bytes, and so beyond guessing even for somebody who has recorded a whole hello. A word
/// that a person made up would not be, which is why no other length is taken.
class Token
{
public:
    static constexpr std::size_t size = 32; // bytes

    static Token random();

    /// Reads 43 characters of base64url, white space around them aside. Nothing on any other text.
    static std::optional<Token> fromText(const QByteArray &text);

    ~Token();
    Token(Token &&other) noexcept;
    Token &operator=(Token &&other) noexcept;
    Token(const Token &) = delete;
    Token &operator=(const Token &) = delete;

    /// What `fromText` reads. The caller overwrites it after use, with `wipe`.
    QByteArray text() const;

    const unsigned char *data() const { return m_bytes.data(); }

private:
    Token();

    std::array<unsigned char, size> m_bytes{};
};

/// Overwrites a text that held a secret, and empties it.
void wipe(QByteArray *text);

} // namespace VESK::Host
