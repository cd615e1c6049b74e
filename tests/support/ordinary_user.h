#pragma once

#include <functional>

namespace VESK::Test
{

/// Runs `check` in a child process without the superuser's rights and says whether it returned true. A
/// child of the superuser runs as nobody, so what it uses must be reachable for all; any other user keeps
/// their identity. The child has this thread only: `check` makes no UDT calls.
[[nodiscard]] bool holdsForOrdinaryUser(const std::function<bool()> &check);

} // namespace VESK::Test
