#pragma once

namespace VESK::Host
{

/// Takes the descriptors 0, 1 and 2 where the caller has closed them, so that no file and no socket of this
/// process becomes its stdout by chance. Reading then meets the end at once, writing to stdout fails, and
/// what goes to stderr is dropped. To be called before anything is opened.
void occupyStandardStreams();

/// The exit status of a program that has done its work and leaves: `exitCode`, or, when all was well but
/// something could not be written to stdout, that of a local failure, which is told. A reader that went
/// away has seen enough; that is no failure.
int exitCodeWithStdout(int exitCode);

} // namespace VESK::Host
