#pragma once

#include <functional>

namespace VESK::Test
{

/// Gives the calling thread the identity of an ordinary user, for the rest of its life: Linux keeps users and
/// groups for each thread. The rest of the program keeps its own. Nothing changes when the program does not
/// run as root.
void becomeOrdinaryUser();

/// Runs `check` on a thread with the identity of an ordinary user and says whether it returned true.
/// For root that is nobody, so what it uses must be reachable for all.
[[nodiscard]] bool holdsForOrdinaryUser(const std::function<bool()> &check);

} // namespace VESK::Test
