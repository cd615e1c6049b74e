#include "tests/operation/support/file_limits.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <vector>

namespace VESK::Test
{

namespace
{

/// Sets the soft limit, which may be raised again; the old one.
unsigned long setLimit(decltype(RLIMIT_FSIZE) resource, unsigned long value)
{
    rlimit limit{};
    ::getrlimit(resource, &limit);
    const unsigned long old = limit.rlim_cur;
    limit.rlim_cur = value;
    ::setrlimit(resource, &limit);
    return old;
}

/// The lowest number above which `count` descriptors can still be opened.
unsigned long numberAfter(unsigned long count)
{
    std::vector<int> opened;
    unsigned long limit = 0;
    for (unsigned long i = 0; i < count; ++i) {
        opened.push_back(::open("/dev/null", O_RDONLY | O_CLOEXEC));
        limit = static_cast<unsigned long>(opened.back()) + 1;
    }
    for (const int descriptor : opened)
        ::close(descriptor);
    return limit;
}

/// Whether the thread is there and has not begun to end. One that was joined is listed for a moment still.
bool isRunning(const QString &thread)
{
    constexpr int flagsAfterName = 7; // the name, in brackets, may hold spaces
    constexpr unsigned int exiting = 4; // PF_EXITING, set before anybody learns that the thread has ended
    QFile status("/proc/self/task/" + thread + "/stat");
    if (!status.open(QIODevice::ReadOnly))
        return false;
    const QByteArray text = status.readAll();
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 1).split(' ');
    return fields.size() > flagsAfterName && (fields.at(flagsAfterName).toUInt() & exiting) == 0;
}

} // namespace

int openDescriptors()
{
    return QDir("/proc/self/fd").entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size() - 1;
}

int runningThreads()
{
    const QStringList threads = QDir("/proc/self/task").entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    return static_cast<int>(std::count_if(threads.begin(), threads.end(), isRunning));
}

FileSizeLimit::FileSizeLimit(unsigned long bytes)
{
    std::signal(SIGXFSZ, SIG_IGN); // else the write would end the process
    m_old = setLimit(RLIMIT_FSIZE, bytes);
}

FileSizeLimit::~FileSizeLimit()
{
    setLimit(RLIMIT_FSIZE, m_old);
}

DescriptorLimit::DescriptorLimit(unsigned long count)
    : m_old(setLimit(RLIMIT_NOFILE, numberAfter(count)))
{
}

DescriptorLimit::~DescriptorLimit()
{
    setLimit(RLIMIT_NOFILE, m_old);
}

} // namespace VESK::Test
