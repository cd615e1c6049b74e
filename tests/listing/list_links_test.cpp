#include "tests/listing/support/list_server.h"

using namespace VESK;
using namespace VESK::Test;

namespace
{

using ListLinks = ListServerTest;

TEST_F(ListLinks, AreFollowedAndKeepTheirNames)
{
    ASSERT_TRUE(dir.write("elsewhere/x", "x"));
    ASSERT_TRUE(dir.write("elsewhere/sub/y", "y"));
    mkdir("d");
    link(dir.path("elsewhere"), "d/link");
    link(dir.path("elsewhere/x"), "d/file");
    const ParamMap expected{{"/link", "dir"},
                            {"/link/x", "file"},
                            {"/link/sub", "dir"},
                            {"/link/sub/y", "file"},
                            {"/file", "file"}};
    EXPECT_EQ(listingOf("d"), expected);
}

TEST_F(ListLinks, ToOneDirectoryFromTwoPlacesAreBothFollowed)
{
    write("d/real/x");
    link("real", "d/one");
    link("real", "d/two");
    const ParamMap expected{{"/real", "dir"},   {"/real/x", "file"}, {"/one", "dir"},
                            {"/one/x", "file"}, {"/two", "dir"},     {"/two/x", "file"}};
    EXPECT_EQ(listingOf("d"), expected);
}

TEST_F(ListLinks, ToTheirOwnDirectoryAreNamedOnly)
{
    write("d/sub/x");
    link(".", "d/sub/self");
    link(".", "d/sub/again");
    const ParamMap expected{{"/sub", "dir"}, {"/sub/x", "file"}, {"/sub/self", "dir"}, {"/sub/again", "dir"}};
    EXPECT_EQ(listingOf("d"), expected);
}

TEST_F(ListLinks, InTheListedDirectoryToItselfAreNamedOnly)
{
    mkdir("d");
    link(".", "d/a");
    link(storedPath("d"), "d/b");
    EXPECT_EQ(listingOf("d"), (ParamMap{{"/a", "dir"}, {"/b", "dir"}}));
}

TEST_F(ListLinks, ThatLeadToEachOtherEndWhereTheyMeet)
{
    write("d/a/x");
    write("d/b/y");
    link("../b", "d/a/to_b");
    link("../a", "d/b/to_a");
    const ParamMap expected{
        {"/a", "dir"},           {"/a/x", "file"},        {"/a/to_b", "dir"}, {"/a/to_b/y", "file"},
        {"/b", "dir"},           {"/b/y", "file"},        {"/b/to_a", "dir"}, {"/b/to_a/x", "file"},
        {"/a/to_b/to_a", "dir"}, {"/b/to_a/to_b", "dir"},
    };
    EXPECT_EQ(listingOf("d"), expected);
}

TEST_F(ListLinks, ToAnAncestorAreNamedOnly)
{
    write("d/e/f/x");
    link("../..", "d/e/f/up");
    link("..", "d/e/f/one");
    const ParamMap expected{
        {"/e", "dir"}, {"/e/f", "dir"}, {"/e/f/x", "file"}, {"/e/f/up", "dir"}, {"/e/f/one", "dir"}};
    EXPECT_EQ(listingOf("d"), expected);
}

TEST_F(ListLinks, ThatLeadAboveTheListedDirectoryDoNotComeBackIntoIt)
{
    write("d/x");
    write("beside/y");
    link("..", "d/up");
    const ParamMap expected{
        {"/x", "file"}, {"/up", "dir"}, {"/up/d", "dir"}, {"/up/beside", "dir"}, {"/up/beside/y", "file"}};
    EXPECT_EQ(listingOf("d"), expected);
}

TEST_F(ListLinks, ThatLeadFarAboveDoNotComeBackEither)
{
    write("d/x");
    link("../../..", "d/up"); // the mount path
    const ParamMap expected{{"/x", "file"},
                            {"/up", "dir"},
                            {"/up/area", "dir"},
                            {"/up/area/root", "dir"},
                            {"/up/area/root/d", "dir"}};
    EXPECT_EQ(listingOf("d"), expected);
}

TEST_F(ListLinks, OnTheWayToTheListedDirectoryDoNotHideItsLoops)
{
    write("real/x");
    link("real", "d");
    link(storedPath("real"), "real/self");
    EXPECT_EQ(listingOf("d"), (ParamMap{{"/x", "file"}, {"/self", "dir"}}));
}

TEST_F(ListLinks, ThroughOtherLinksAreResolvedToTheirEnd)
{
    mkdir("d/e");
    link("hop", "d/e/loop");
    link("../../d/e", "d/e/hop");
    EXPECT_EQ(listingOf("d"), (ParamMap{{"/e", "dir"}, {"/e/loop", "dir"}, {"/e/hop", "dir"}}));
}

} // namespace
