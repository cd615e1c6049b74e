#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QtGlobal>

#include <cstdio>
#include <memory>
#include <optional>

namespace VESK::Host
{

/// The entries of a tree, kept in a temporary file that has no name, so that memory does not grow with
/// their number. Filled first, then read from its start. For one thread.
class NameSpool
{
public:
    enum class Kind { File, Directory };
    struct Entry {
        Kind kind;
        QString path; ///< relative
    };

    NameSpool();

    /// Forgets everything. False when the file cannot be made or emptied; the system's error is set.
    [[nodiscard]] bool clear();
    /// False when the disk refuses; the system's error is set.
    [[nodiscard]] bool add(Kind kind, const QString &path);
    /// Goes to the first entry. False when the disk refuses.
    [[nodiscard]] bool rewind();
    /// The next entry; nothing at the end.
    std::optional<Entry> next();

    qint64 files() const { return m_files; }
    qint64 entries() const { return m_entries; }
    qint64 bytes() const { return m_bytes; }

private:
    struct Closer {
        void operator()(std::FILE *file) const { (void)std::fclose(file); } // nothing of it is kept
    };

    std::unique_ptr<std::FILE, Closer> m_file;
    QByteArray m_buffer;
    qint64 m_files = 0;
    qint64 m_entries = 0;
    qint64 m_bytes = 0; // of the paths
};

} // namespace VESK::Host
