#pragma once

#include <functional>

namespace VESK::Test
{

/// Gives the calling thread the file permissions of an ordinary user, for the rest of its life: Linux keeps
/// the identity that file access is checked against for each thread. Nothing changes when the program does
/// not run as root.
void becomeOrdinaryUser();

/// Runs `check` on a thread with the file permissions of an ordinary user and says whether it returned true.
/// For root that is nobody, so what it uses must be reachable for all.
[[nodiscard]] bool holdsForOrdinaryUser(const std::function<bool()> &check);

} // namespace VESK::Test
