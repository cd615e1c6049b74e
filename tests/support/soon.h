#pragma once

#include <chrono>

namespace VESK::Test
{

/// A generous limit for what takes no time.
constexpr std::chrono::seconds soon(20);

} // namespace VESK::Test
