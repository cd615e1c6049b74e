#pragma once

#include "vesk_base/export.h"
#include "vesk_base/param_map.h"

#include <optional>

namespace VESK
{

/// The text form of a map, without loss for every QString. The format is described in
/// docs/wire-format.md: a line "vpm1 <count>", then a line "<key>=<value>" per entry in key order, with
/// "\", "=", controls, U+FEFF, noncharacters and lone surrogates written as \uXXXX. Callable from any thread.
VESK_BASE_EXPORT QString writeParamText(const ParamMap &map);

/// The map that `text` stands for, or nothing when it deviates from the format in any way: another
/// header, a wrong count, a bad escape, a character that had to be escaped, a key twice, anything after
/// the last line. Callable from any thread.
VESK_BASE_EXPORT std::optional<ParamMap> readParamText(const QString &text);

} // namespace VESK
