#pragma once

#include <string>
#include <vector>

namespace VESK::Host
{

/// The one of `known` that was most likely meant by `word`: at most a third of its letters are wrong,
/// missing, too many or swapped with their neighbour, or it begins with `word` as no other does. Empty when
/// none comes near.
std::string closest(const std::string &word, const std::vector<std::string> &known);

} // namespace VESK::Host
