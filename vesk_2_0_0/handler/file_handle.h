#pragma once

#include <cstdio>

namespace VESK
{

// C file handles over descriptors. None is inherited by child processes.

/// A second descriptor for the same open file, or -1 with errno set.
int duplicateDescriptor(int descriptor);

/// A C file handle that owns `descriptor`, opened with `mode` as for fopen; null with errno set, and then
/// the descriptor stays the caller's.
std::FILE *openHandle(int descriptor, const char *mode);

void closeDescriptor(int descriptor);

} // namespace VESK
