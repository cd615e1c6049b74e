#pragma once

#include "vesk_base/param_map.h"

namespace VESK
{

/// May a map that came over the wire in a TaskParam be merged into a server's parameters? False when it
/// holds a key that belongs to the server's host or to the handler, a ".." component, NUL or lone
/// surrogate in a path, more than 64 keys or a text over 32,768 characters. Maps that a host sets itself
/// are not subject to this.
bool isAcceptableTaskParam(const ParamMap &map);

} // namespace VESK
