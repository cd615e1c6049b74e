#pragma once

#include "host/hello/token.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <optional>

namespace VESK::Host
{

/// Who proves that it knows the token. A proof of one role is worth nothing in the other, so that nobody
/// gets on by sending back what he was sent.
enum class Role { Client, Server };

/// 32 fresh random bytes as text. They keep a hello that was recorded from being of use again.
QString newNonce();

/// Is this the text of 32 bytes?
bool isNonce(const QString &text);

/// A proof of the role over everything that was said: HMAC-SHA-512-256 under a key that is derived from the
/// token for this role. `said` are the messages, each of which counts with its length.
QString makeProof(const Token &token, Role role, const QStringList &said);

/// Is `proof` what makeProof gives? In a time that does not tell where they differ.
bool isProof(const Token &token, Role role, const QStringList &said, const QString &proof);

/// `plain`, readable only for those who know the token (XSalsa20 and Poly1305 under a key derived from it and
/// from `context`, the nonces of both ends).
QString seal(const Token &token, const QStringList &context, const QString &plain);

/// The inverse. Nothing for a text that was not sealed with this token and context, or was altered.
std::optional<QString> unseal(const Token &token, const QStringList &context, const QString &sealed);

} // namespace VESK::Host
