#pragma once

#include <QtCore/QString>

namespace VESK::Test
{

/// A file system of its own in memory, as small as a test wants it, mounted while it lives. No other process
/// sees it: a program that uses this class is put into a mount namespace of its own before its main function.
class SmallDisk
{
public:
    static constexpr int pageSize = 4096; ///< bytes; what files take space in

    /// Why no disk can be mounted here; empty when it can.
    static QString obstacle();

    /// Mounts over the existing directory `path` a file system with room for `pages` pages of data, one
    /// at least, and `names` files and directories.
    SmallDisk(const QString &path, int pages, int names);
    ~SmallDisk();
    SmallDisk(const SmallDisk &) = delete;
    SmallDisk &operator=(const SmallDisk &) = delete;

    bool isMounted() const { return m_isMounted; }

    /// Bytes that may still be written.
    qint64 room() const;

    /// Changes the room for data and names, so that what did not fit does.
    [[nodiscard]] bool resize(int pages, int names);

private:
    const QByteArray m_path;
    bool m_isMounted;
};

} // namespace VESK::Test
