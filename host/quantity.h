#pragma once

#include <QtCore/QString>
#include <QtCore/QtGlobal>

#include <optional>

namespace VESK::Host
{

/// A number of bytes as people write it: digits, a fraction if need be, and one of k, M, G, T for powers
/// of 1024, in either case ("1.5G", "500k", "1000"). Nothing for anything else, zero and below included.
std::optional<qint64> parseBytes(const QString &text);

} // namespace VESK::Host
