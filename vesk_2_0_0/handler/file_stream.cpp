#include "vesk_2_0_0/handler/file_stream.h"

#include <ext/stdio_filebuf.h>
#include <utility>

namespace VESK
{

namespace
{

constexpr std::size_t readBuffer =
    1 << 20; // bytes; UDT reads a packet at a time, the buffer makes the system calls
constexpr std::size_t noBuffer = 1; // what this library calls unbuffered

std::ios_base::openmode openMode(FileStream::Use use)
{
    using std::ios_base;
    return use == FileStream::Use::Sending ? ios_base::in | ios_base::binary
                                           : ios_base::in | ios_base::out | ios_base::app | ios_base::binary;
}

} // namespace

FileStream::FileStream(FileHandle handle, Use use)
    : StreamHandle{std::move(handle)}
{
    // A stream cannot be opened on a handle, but its buffer can be moved in from one that can.
    __gnu_cxx::stdio_filebuf<char> buffer(m_handle.get(), openMode(use),
                                          use == Use::Sending ? readBuffer : noBuffer);
    *rdbuf() = std::move(buffer);
}

FileStream::~FileStream() = default;

} // namespace VESK
