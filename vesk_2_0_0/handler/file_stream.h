#pragma once

#include "vesk_2_0_0/handler/file_handle.h"

#include <fstream>

namespace VESK
{

/// The handle of a `FileStream`: a base of it, so that the handle is closed after the stream.
struct StreamHandle {
    const FileHandle m_handle;
};

/// A file stream over an open C file handle, which it owns and closes.
class FileStream : private StreamHandle, public std::fstream
{
public:
    enum class Use {
        Sending, ///< reads, through a large buffer
        Receiving, ///< appends, without a buffer: what does not fit on the disk fails at once and not at
                   ///< close
    };

    FileStream(FileHandle handle, Use use);
    ~FileStream() override;
};

} // namespace VESK
