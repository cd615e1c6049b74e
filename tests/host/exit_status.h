#pragma once

/// What the program's exit status says, by the numbers that scripts rely on.
namespace VESK::Test::ExitStatus
{

constexpr int success = 0;
constexpr int someFailed = 1;
constexpr int usage = 2;
constexpr int unreachable = 3;
constexpr int notAllowed = 4;
constexpr int sourceMissing = 5;
constexpr int localFile = 7;
constexpr int refused = 8;
constexpr int nothingToDo = 10;
constexpr int limitReached = 11;
constexpr int noCommonGround = 12;
constexpr int interrupted = 130;
constexpr int terminated = 143;

} // namespace VESK::Test::ExitStatus
