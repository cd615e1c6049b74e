#pragma once

namespace VESK::Host
{

/// Does what the command line says, and tells on the standard streams what came of it. Returns the exit
/// status; throws nothing. For the main thread, with an application object there.
int runProgram(int argc, char **argv);

} // namespace VESK::Host
