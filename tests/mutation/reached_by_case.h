#pragma once

// Included into the main function's source of the changed tree: notes for each test case which changes it
// came across. A line a case in the file that VESK_REACHED names: its name, whether it passed, its
// milliseconds, the numbers.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

namespace Mutant
{

class ReachedByCase : public testing::EmptyTestEventListener
{
    void OnTestProgramStart(const testing::UnitTest &) override { write("before", true, 0); }

    void OnTestStart(const testing::TestInfo &) override
    {
        for (std::atomic<bool> &flag : reached.flags)
            flag = false;
    }

    void OnTestEnd(const testing::TestInfo &info) override
    {
        const std::string name = std::string(info.test_suite_name()) + '.' + info.name();
        write(name.c_str(), info.result()->Passed(), info.result()->elapsed_time());
    }

    static void write(const char *name, bool passed, long long milliseconds)
    {
        std::FILE *const file = std::fopen(std::getenv("VESK_REACHED"), "a");
        if (file == nullptr)
            return;
        std::fprintf(file, "%s %d %lld", name, passed ? 1 : 0, milliseconds);
        for (int i = 0; i < limit; ++i)
            if (reached.flags[i])
                std::fprintf(file, " %d", i);
        std::fputc('\n', file);
        std::fclose(file);
    }
};

inline const bool listening = [] {
    if (std::getenv("VESK_REACHED"))
        testing::UnitTest::GetInstance()->listeners().Append(new ReachedByCase);
    return true;
}();

} // namespace Mutant
