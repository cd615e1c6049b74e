#include "vesk_2_0_0/download/download_decision.h"

#include "tests/support/qt_text.h"

#include <gtest/gtest.h>

using namespace VESK;

namespace
{

struct Case {
    const char *mode;
    const char *client; // verification values
    const char *server;
    std::int64_t clientTime;
    std::int64_t serverTime;
    bool needed;
};

void PrintTo(const Case &facts, std::ostream *out)
{
    *out << "mode '" << facts.mode << "', values '" << facts.client << "' and '" << facts.server
         << "', times " << facts.clientTime << " and " << facts.serverTime;
}

class DownloadDecision : public testing::TestWithParam<Case>
{
};

TEST_P(DownloadDecision, IsTheProtocols)
{
    const Case &facts = GetParam();
    EXPECT_EQ(needsDownload({facts.mode, facts.client, facts.server, facts.clientTime, facts.serverTime}),
              facts.needed);
}

INSTANTIATE_TEST_SUITE_P(WithoutVerification, DownloadDecision,
                         testing::Values(Case{"false", "a", "a", 5, 5, true},
                                         Case{"false", "", "", 5, 5, true},
                                         Case{"false", "a", "b", -1, 5, true}));

// The times do not count: equal values alone make a second pass, an empty one never does.
INSTANTIATE_TEST_SUITE_P(
    ByValue, DownloadDecision,
    testing::Values(Case{"md5", "a", "a", 5, 5, false}, Case{"md5", "a", "a", 4, 5, false},
                    Case{"md5", "a", "a", -1, 5, false}, Case{"md5", "a", "b", 5, 5, true},
                    Case{"md5", "a", "A", 5, 5, true}, Case{"md5", "", "a", 5, 5, true},
                    Case{"md5", "", "", 5, 5, true}, Case{"md5", "", "", -1, 5, true},
                    Case{"md5", "a", "", 5, 5, true}, Case{"", "a", "a", 4, 5, false},
                    Case{"", "", "", 5, 5, true}, Case{"true", "a", "a", 4, 5, false},
                    Case{"False", "a", "a", 4, 5, false}, Case{"Fileattr", "a", "a", 4, 5, false},
                    Case{"fileattr ", "a", "a", 4, 5, false}));

INSTANTIATE_TEST_SUITE_P(
    ByAttributesWithoutATime, DownloadDecision,
    testing::Values(Case{"fileattr", "a", "a", -1, 5, false}, Case{"fileattr", "a", "b", -1, 5, true},
                    Case{"fileattr", "", "a", -1, 5, true}, Case{"fileattr", "", "", -1, 5, true},
                    Case{"fileattr", "", "", -1, -1, true}, Case{"fileattr", "a", "", -1, 5, true}));

// With equal times two empty values count as equal.
INSTANTIATE_TEST_SUITE_P(
    ByAttributesWithATime, DownloadDecision,
    testing::Values(Case{"fileattr", "a", "a", 5, 5, false}, Case{"fileattr", "a", "b", 5, 5, true},
                    Case{"fileattr", "", "", 5, 5, false}, Case{"fileattr", "", "a", 5, 5, true},
                    Case{"fileattr", "a", "", 5, 5, true}, Case{"fileattr", "a", "a", 4, 5, true},
                    Case{"fileattr", "", "", 4, 5, true}, Case{"fileattr", "a", "a", 0, 5, true},
                    Case{"fileattr", "a", "a", 0, 0, false}));

} // namespace
