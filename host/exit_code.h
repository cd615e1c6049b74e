#pragma once

namespace VESK::Host
{

/// What the program's exit status says. Classes 3 to 9 are given only when every failure is of that class
/// and nothing succeeded; see combinedExitCode().
enum class ExitCode : int {
    Success = 0, ///< all in place
    Partial = 1, ///< some done, some failed
    Usage = 2, ///< usage or configuration; nothing was tried
    Unreachable = 3, ///< the server cannot be reached
    NotAllowed = 4, ///< the server does not know or not trust us
    SourceMissing = 5, ///< a source was not found
    VerifyFailed = 6, ///< verification failed twice
    LocalFile = 7, ///< a local file cannot be read or written
    Refused = 8, ///< the server refused, with a reason
    ConnectionLost = 9, ///< retries used up, partial data kept
    NothingToDo = 10, ///< everything was there already, and --fail-if-nothing
    LimitReached = 11, ///< --max-time or --max-bytes, partial data kept
    NoCommonGround = 12, ///< no version or mode in common with the server
    Internal = 70, ///< a defect of this program
    Interrupted = 130, ///< SIGINT, partial data kept
    Terminated = 143, ///< SIGTERM, partial data kept
};

constexpr int number(ExitCode code)
{
    return static_cast<int>(code);
}

/// The exit status of a run so far: `earlier` is that of the failures before (Success when there was
/// none), `failure` the next one's.
constexpr ExitCode combinedExitCode(ExitCode earlier, ExitCode failure)
{
    return earlier == ExitCode::Success || earlier == failure ? failure : ExitCode::Partial;
}

} // namespace VESK::Host
