#include "tests/faults/support/small_disk.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sched.h>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace VESK::Test
{

namespace
{

bool writeText(const char *path, const std::string &text)
{
    std::FILE *const file = std::fopen(path, "w");
    if (file == nullptr)
        return false;
    const bool isWritten = std::fputs(text.c_str(), file) >= 0;
    return std::fclose(file) == 0 && isWritten;
}

/// The system's own word for why this process has no mounts of its own; empty when it has.
std::string enterOwnMounts()
{
    const uid_t user = geteuid();
    const int namespaces = user == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER;
    if (unshare(namespaces) != 0)
        return std::strerror(errno);
    if (user != 0 && !writeText("/proc/self/uid_map", "0 " + std::to_string(user) + " 1\n"))
        return "no user can be mapped";
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return std::strerror(errno);
    return std::string();
}

// Before main, since a process with threads cannot enter a user namespace.
const std::string reason = enterOwnMounts();

QByteArray options(int pages, int names)
{
    return "size=" + QByteArray::number(pages * SmallDisk::pageSize)
        + ",nr_inodes=" + QByteArray::number(names + 1); // and the root
}

} // namespace

QString SmallDisk::obstacle()
{
    return QString::fromStdString(reason);
}

SmallDisk::SmallDisk(const QString &path, int pages, int names)
    : m_path(path.toUtf8())
    , m_isMounted(mount("none", m_path.constData(), "tmpfs", 0, options(pages, names).constData()) == 0)
{
}

SmallDisk::~SmallDisk()
{
    if (m_isMounted)
        umount2(m_path.constData(), MNT_DETACH);
}

qint64 SmallDisk::room() const
{
    struct statvfs status;
    return statvfs(m_path.constData(), &status) == 0 ? static_cast<qint64>(status.f_bavail * status.f_bsize)
                                                     : -1;
}

bool SmallDisk::resize(int pages, int names)
{
    return mount("none", m_path.constData(), "tmpfs", MS_REMOUNT, options(pages, names).constData()) == 0;
}

} // namespace VESK::Test
