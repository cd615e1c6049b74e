#pragma once

#include <cstdio>
#include <fstream>

namespace VESK
{

/// A file stream over an open C file handle, which it owns and closes.
class FileStream : public std::fstream
{
public:
    enum class Use {
        Sending, ///< reads, through a large buffer
        Receiving, ///< appends, without a buffer: what does not fit on the disk fails at once and not at
                   ///< close
    };

    FileStream(std::FILE *handle, Use use);
    ~FileStream() override;

private:
    std::FILE *const m_handle;
};

} // namespace VESK
