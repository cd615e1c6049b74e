#include "tests/operation/support/file_limits.h"
#include "tests/operation/support/operation_test.h"

#include <QtCore/QRegularExpression>

#include <atomic>
#include <cstdio>
#include <dlfcn.h>

// What becomes of a file that opens and of whose handle the standard library makes no stream. It writes a
// handle out first, and gives up when that fails; so this program has a fflush of its own.

namespace
{

std::atomic<std::FILE *> refused{nullptr};
std::atomic<bool> isRefusing{false};

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

} // namespace
