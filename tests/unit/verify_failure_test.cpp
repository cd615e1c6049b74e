#include "tests/support/temp_dir.h"

#include "vesk_base/verify_value.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <unistd.h>

// What becomes of a verification value when the libraries that compute it fail, which they do when memory
// runs out, or the file cannot be sought. So this program has some of their functions itself: one that is to
// fail does what it does always and says that it did not.

namespace
{

const char *failing = ""; // the function that fails
int failures = 0;

/// Is it `function` that fails?
bool fails(const char *function)
{
    if (std::strcmp(function, failing) != 0)
        return false;
    ++failures;
    return true;
}

template <typename Function>
Function original(const char *function)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, function));
}

int hashUpdate(const char *function, void *state, const void *data, std::size_t size)
{
    constexpr int error = 1;
    const int result = original<int (*)(void *, const void *, std::size_t)>(function)(state, data, size);
    return fails("update of a hash") ? error : result;
}

} // namespace

#define VESK_REPLACEMENT extern "C" __attribute__((visibility("default")))

VESK_REPLACEMENT void *EVP_MD_CTX_new()
{
    return fails("context of a digest") ? nullptr : original<void *(*)()>("EVP_MD_CTX_new")();
}

VESK_REPLACEMENT int EVP_DigestInit_ex(void *context, const void *algorithm, void *engine)
{
    using Function = int (*)(void *, const void *, void *);
    const int result = original<Function>("EVP_DigestInit_ex")(context, algorithm, engine);
    return fails("beginning of a digest") ? 0 : result;
}

VESK_REPLACEMENT int EVP_DigestUpdate(void *context, const void *data, std::size_t size)
{
    using Function = int (*)(void *, const void *, std::size_t);
    const int result = original<Function>("EVP_DigestUpdate")(context, data, size);
    return fails("update of a digest") ? 0 : result;
}

VESK_REPLACEMENT int EVP_DigestFinal_ex(void *context, unsigned char *value, unsigned int *length)
{
    using Function = int (*)(void *, unsigned char *, unsigned int *);
    const int result = original<Function>("EVP_DigestFinal_ex")(context, value, length);
    return fails("end of a digest") ? 0 : result;
}

VESK_REPLACEMENT void *XXH3_createState()
{
    return fails("state of a hash") ? nullptr : original<void *(*)()>("XXH3_createState")();
}

VESK_REPLACEMENT int XXH3_128bits_reset(void *state)
{
    constexpr int error = 1;
    const int result = original<int (*)(void *)>("XXH3_128bits_reset")(state);
    return fails("beginning of a hash") ? error : result;
}

VESK_REPLACEMENT int XXH3_128bits_update(void *state, const void *data, std::size_t size)
{
    return hashUpdate("XXH3_128bits_update", state, data, size);
}

VESK_REPLACEMENT int XXH3_128bits_update_dispatch(void *state, const void *data, std::size_t size)
{
    return hashUpdate("XXH3_128bits_update_dispatch", state, data, size);
}

VESK_REPLACEMENT off64_t lseek64(int descriptor, off64_t offset, int whence) noexcept
{
    if (fails("seeking")) {
        errno = EIO;
        return -1;
    }
    return original<off64_t (*)(int, off64_t, int)>("lseek64")(descriptor, offset, whence);
}

using namespace VESK;
using namespace VESK::Test;

namespace
{

struct Failure {
    const char *function;
    QString mode;
};

TEST(VerifyFailure, AValueThatCannotBeComputedIsEmpty)
{
    const Failure cases[] = {
        {"context of a digest", "md5"_s},    {"beginning of a digest", "sha1"_s},
        {"update of a digest", "sha256"_s},  {"end of a digest", "md5"_s},
        {"state of a hash", "xxh128"_s},     {"state of a hash", "fileattr"_s},
        {"beginning of a hash", "xxh128"_s}, {"beginning of a hash", "fileattr"_s},
        {"update of a hash", "xxh128"_s},    {"update of a hash", "fileattr"_s},
        {"seeking", "fileattr"_s},
    };
    const TempDir directory;
    ASSERT_TRUE(directory.write("file"_s, pattern(3 << 20)));
    const QString path = directory.path("file"_s);
    for (const Failure &failure : cases) {
        SCOPED_TRACE(failure.function);
        failures = 0;
        failing = failure.function;
        EXPECT_EQ(fileVerifyValue(path, failure.mode), QString());
        failing = "";
        EXPECT_GT(failures, 0);
        EXPECT_NE(fileVerifyValue(path, failure.mode), QString()) << "the trouble is over";
    }
}

} // namespace
