#include "tests/operation/support/file_limits.h"
#include "tests/operation/support/operation_test.h"

#include <cstdlib>
#include <new>

// What becomes of a file's descriptors when memory runs out while it is being opened. So this program has an
// operator new of its own.

namespace
{

thread_local int allocationsLeft = -1; // until one fails; negative for any number

} // namespace

void *operator new(std::size_t size)
{
    if (allocationsLeft == 0)
        throw std::bad_alloc();
    if (allocationsLeft > 0)
        --allocationsLeft;
    if (void *const memory = std::malloc(size == 0 ? 1 : size))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void *memory) noexcept
{
    std::free(memory);
}

void operator delete(void *memory, std::size_t) noexcept
{
    std::free(memory);
}

using namespace VESK;
using namespace VESK::Test;

namespace
{

/// While it lives, this thread gets memory `count` times, and then none.
class MemoryLimit
{
public:
    explicit MemoryLimit(int count) { allocationsLeft = count; }
    ~MemoryLimit() { allocationsLeft = -1; }
    MemoryLimit(const MemoryLimit &) = delete;
    MemoryLimit &operator=(const MemoryLimit &) = delete;
};

class StreamMemory : public ClientTest
{
protected:
    StreamMemory()
        : ClientTest("upload")
    {
    }

    /// Is the stream there, or did memory run out?
    bool createStream(const QString &path, unsigned int mode, int allocations)
    {
        const MemoryLimit limit(allocations);
        try {
            EXPECT_TRUE(handler().createStream(path, mode));
            return true;
        } catch (const std::bad_alloc &) {
            return false;
        }
    }
};

TEST_F(StreamMemory, RunningOutOfItLeavesNothingOpen)
{
    constexpr int most = 1000;
    ASSERT_TRUE(dir.write("file", "content"));
    const int descriptors = openDescriptors();
    for (const unsigned int mode : {33U, 42U}) {
        int allocations = 0;
        for (; allocations < most && !createStream(dir.path("file"), mode, allocations); ++allocations) {
            EXPECT_EQ(handler().getStream(), nullptr) << allocations;
            ASSERT_EQ(openDescriptors(), descriptors) << allocations;
        }
        EXPECT_GT(allocations, 3);
        EXPECT_LT(allocations, most);
        EXPECT_NE(handler().getStream(), nullptr);
        EXPECT_TRUE(handler().destroyStream());
        EXPECT_EQ(openDescriptors(), descriptors);
    }
    EXPECT_EQ(dir.read("file"), "content");
    EXPECT_EQ(logged(), QStringList());
}

} // namespace
