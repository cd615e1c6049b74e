#include "vesk_2_0_0/upload/upload_decision.h"

#include "tests/support/qt_text.h"

#include <gtest/gtest.h>

#include <functional>

using namespace VESK;

namespace
{

constexpr std::int64_t unknown = -1;
constexpr std::int64_t targetTime = 1000;

/// Calls `check` with every combination of what can matter to the decision.
void forAllFacts(const std::function<void(const UploadFacts &)> &check)
{
    for (const bool exists : {false, true})
        for (const bool replace : {false, true})
            for (const QString mode : {"false", "", "md5", "fileattr", "FileAttr", "False"})
                for (const QString value : {"target's", "another", ""})
                    for (const std::int64_t time : {unknown, std::int64_t(0), targetTime, targetTime + 1}) {
                        SCOPED_TRACE((mode + '|' + value).toStdString() + '|' + std::to_string(time)
                                     + (exists ? "|exists" : "") + (replace ? "|replace" : ""));
                        check({exists, replace, mode, value, "target's", time, targetTime});
                    }
}

TEST(UploadDecision, AMissingTargetAlwaysNeedsData)
{
    forAllFacts([](const UploadFacts &facts) {
        if (!facts.targetExists) {
            EXPECT_TRUE(needsUpload(facts));
        }
    });
}

TEST(UploadDecision, WithoutVerificationTheReplaceSwitchDecides)
{
    forAllFacts([](const UploadFacts &facts) {
        if (facts.targetExists && facts.verifyMode == "false") {
            EXPECT_EQ(needsUpload(facts), facts.replace);
        }
    });
}

TEST(UploadDecision, WithVerificationTheValuesDecideWhateverTheReplaceSwitchSays)
{
    forAllFacts([](const UploadFacts &facts) {
        if (facts.targetExists && facts.verifyMode != "false" && facts.verifyMode != "fileattr") {
            EXPECT_EQ(needsUpload(facts), facts.clientValue != "target's");
        }
    });
}

TEST(UploadDecision, WithFileattrAnotherTimeNeedsDataToo)
{
    forAllFacts([](const UploadFacts &facts) {
        if (!facts.targetExists || facts.verifyMode != "fileattr")
            return;
        const bool otherTime = facts.clientTime == 0 || facts.clientTime == targetTime + 1;
        EXPECT_EQ(needsUpload(facts), otherTime || facts.clientValue != "target's");
    });
}

} // namespace
