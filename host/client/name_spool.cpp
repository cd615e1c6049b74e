#include "host/client/name_spool.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>

namespace VESK::Host
{

namespace
{

// Directly without a name where the file system can do that; otherwise the name goes at once.
std::FILE *openNameless()
{
    const QByteArray directory = QFile::encodeName(QDir::tempPath());
    const int descriptor = ::open(directory.constData(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    return descriptor >= 0 ? ::fdopen(descriptor, "w+b") : std::tmpfile();
}

struct Header {
    std::uint32_t isDirectory;
    std::uint32_t size; // bytes of the path, which follows in UTF-8
};

} // namespace

NameSpool::NameSpool()
    : m_file(openNameless())
{
}

bool NameSpool::clear()
{
    m_files = 0;
    m_entries = 0;
    m_bytes = 0;
    return m_file && std::fflush(m_file.get()) == 0 && ::ftruncate(::fileno(m_file.get()), 0) == 0
        && rewind();
}

bool NameSpool::add(Kind kind, const QString &path)
{
    if (!m_file)
        return false;
    const QByteArray bytes = path.toUtf8();
    const std::size_t size = static_cast<std::size_t>(bytes.size());
    const Header header{kind == Kind::Directory ? 1U : 0U, static_cast<std::uint32_t>(size)};
    if (std::fwrite(&header, sizeof(header), 1, m_file.get()) != 1
        || std::fwrite(bytes.constData(), 1, size, m_file.get()) != size)
        return false;
    ++m_entries;
    m_files += kind == Kind::File ? 1 : 0;
    m_bytes += bytes.size();
    return true;
}

bool NameSpool::rewind()
{
    return m_file && std::fflush(m_file.get()) == 0 && std::fseek(m_file.get(), 0, SEEK_SET) == 0;
}

std::optional<NameSpool::Entry> NameSpool::next()
{
    Header header{};
    if (!m_file || std::fread(&header, sizeof(header), 1, m_file.get()) != 1)
        return std::nullopt;
    m_buffer.resize(static_cast<int>(header.size));
    if (std::fread(m_buffer.data(), 1, header.size, m_file.get()) != header.size)
        return std::nullopt;
    return Entry{header.isDirectory != 0 ? Kind::Directory : Kind::File, QString::fromUtf8(m_buffer)};
}

} // namespace VESK::Host
