#include "tests/operation/support/file_limits.h"
#include "tests/operation/support/operation_test.h"

#include <QtCore/QRegularExpression>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <dlfcn.h>

// What becomes of a file that opens and for which the C library makes no handle, or of whose handle the
// standard library makes no stream: it writes a handle out first, and gives up when that fails. So this
// program has an fdopen and an fflush of its own, and a close that leaves another error number, as it may.

namespace
{

std::atomic<std::FILE *> refused{nullptr};
std::atomic<bool> isRefusing{false};
std::atomic<bool> isOutOfHandles{false};

} // namespace

extern "C" __attribute__((visibility("default"))) int fflush(std::FILE *file)
{
    if (isRefusing && file != nullptr && file != stdout && file != stderr) {
        refused = file;
        return EOF;
    }
    static const auto original = reinterpret_cast<int (*)(std::FILE *)>(dlsym(RTLD_NEXT, "fflush"));
    return original(file);
}

extern "C" __attribute__((visibility("default"))) std::FILE *fdopen(int descriptor, const char *mode) noexcept
{
    if (isOutOfHandles) {
        errno = ENOMEM;
        return nullptr;
    }
    static const auto original =
        reinterpret_cast<std::FILE *(*)(int, const char *)>(dlsym(RTLD_NEXT, "fdopen"));
    return original(descriptor, mode);
}

extern "C" __attribute__((visibility("default"))) int close(int descriptor)
{
    static const auto original = reinterpret_cast<int (*)(int)>(dlsym(RTLD_NEXT, "close"));
    const int result = original(descriptor);
    if (isOutOfHandles)
        errno = EINPROGRESS;
    return result;
}

using namespace VESK;
using namespace VESK::Test;

namespace
{

class StreamHandles : public ClientTest
{
protected:
    StreamHandles()
        : ClientTest("upload")
    {
    }
};

TEST_F(StreamHandles, ReportAStreamThatIsNotOpen)
{
    ASSERT_TRUE(dir.write("file", "content"));
    const QString path = dir.path("file");
    const std::pair<unsigned int, const char *> modes[] = {{33, "read"}, {42, "append"}};
    int reports = 0;
    for (const auto &[mode, name] : modes) {
        SCOPED_TRACE(name);
        const int descriptors = openDescriptors();
        isRefusing = true;
        const bool isCreated = handler().createStream(path, mode);
        isRefusing = false;
        EXPECT_FALSE(isCreated);
        EXPECT_NE(refused.exchange(nullptr), nullptr);
        ASSERT_EQ(logged().size(), ++reports);
        const QRegularExpression line("^error\\|createStream: open file " + QRegularExpression::escape(path)
                                      + " failed\\.error \\d+$");
        EXPECT_TRUE(line.match(logged().last()).hasMatch()) << logged().last().toStdString();
        EXPECT_EQ(handler().getStream(), nullptr);
        EXPECT_EQ(openDescriptors(), descriptors);
        EXPECT_EQ(param("beginTime"), "");
    }
    EXPECT_TRUE(handler().createStream(path, 33)) << "the trouble is over";
    EXPECT_TRUE(handler().destroyStream());
    EXPECT_EQ(dir.read("file"), "content");
}

TEST_F(StreamHandles, ReportAHandleThatCannotBeHadAndKeepNoDescriptor)
{
    ASSERT_TRUE(dir.write("file", "content"));
    const QString path = dir.path("file");
    const int descriptors = openDescriptors();
    isOutOfHandles = true;
    const bool isCreated = handler().createStream(path, 33);
    isOutOfHandles = false;
    EXPECT_FALSE(isCreated);
    EXPECT_EQ(
        logged(),
        QStringList("error|createStream: Fd open file " + path + " failed.error " + QString::number(ENOMEM)));
    EXPECT_EQ(handler().getStream(), nullptr);
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_EQ(param("beginTime"), "");
}

} // namespace
