#pragma once

#include <cstdio>
#include <memory>

namespace VESK
{

struct FileCloser {
    void operator()(std::FILE *handle) const { std::fclose(handle); }
};

/// An open C file handle, closed by its owner's end.
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

/// A C file handle, with `mode` as for fopen, on a descriptor of its own for the file that `descriptor` has
/// open. Child processes do not inherit it. Null with errno set on failure.
FileHandle openHandle(int descriptor, const char *mode);

} // namespace VESK
