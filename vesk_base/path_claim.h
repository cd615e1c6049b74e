#pragma once

#include <QtCore/QString>

#include <cstdint>

namespace VESK
{

/// The right to write one path, held by at most one claim of this machine at a time, across processes.
///
/// A claim is a named object of the kernel that goes with its process, so a crash leaves none behind and
/// no lock file stands beside the target. Two texts that lead to one place through links or ".." are one
/// path. Not thread-safe.
class PathClaim
{
public:
    PathClaim() = default;
    ~PathClaim() { release(); }
    PathClaim(const PathClaim &) = delete;
    PathClaim &operator=(const PathClaim &) = delete;

    /// Claims `path` in place of what was claimed before. False when somebody else holds it or the system
    /// gives no object; the earlier claim then stays. True at once for the path already held.
    [[nodiscard]] bool acquire(const QString &path);

    void release();

private:
    static constexpr std::intptr_t none = -1;

    static std::intptr_t open(const QByteArray &name);
    static void close(std::intptr_t object);

    std::intptr_t m_object = none; // the socket (POSIX) or the mutex handle (Windows) that bears the name
    QByteArray m_name; // of m_object, while there is one
};

} // namespace VESK
