#include "tests/support/background.h"
#include "tests/support/qt_text.h"

#include "vesk_base/vesk_base.h"

#include <gtest/gtest.h>

#include <atomic>

using namespace VESK;
using namespace VESK::Test;

namespace
{

ParamMap allOf(VeskBase &handler)
{
    ParamMap map;
    EXPECT_TRUE(handler.getParams(map));
    return map;
}

TEST(ParamStore, StartsEmpty)
{
    VeskBase handler;
    EXPECT_TRUE(allOf(handler).isEmpty());
    EXPECT_EQ(handler.getKey(), QString());
    EXPECT_EQ(handler.getLastError(), QString());
}

TEST(ParamStore, DefaultsServeAbsentKeysOnly)
{
    VeskBase handler;
    EXPECT_EQ(handler.getParam("key"_s), QString());
    EXPECT_EQ(handler.getParam("key"_s, "default"_s), "default"_s);
    ASSERT_TRUE(handler.setParam("key"_s, ""_s));
    EXPECT_EQ(handler.getParam("key"_s, "default"_s), ""_s);
    ASSERT_TRUE(handler.setParam("key"_s, "value"_s));
    EXPECT_EQ(handler.getParam("key"_s, "default"_s), "value"_s);
    ASSERT_TRUE(handler.setParam("key"_s, "other"_s));
    EXPECT_EQ(handler.getParam("key"_s), "other"_s);
}

TEST(ParamStore, MergesWholeMaps)
{
    VeskBase handler;
    ASSERT_TRUE(handler.setParam("a"_s, "1"_s));
    ASSERT_TRUE(handler.setParam("b"_s, "2"_s));
    ASSERT_TRUE(handler.setParams({{"b"_s, "3"_s}, {"c"_s, "4"_s}}));
    EXPECT_EQ(allOf(handler), (ParamMap{{"a"_s, "1"_s}, {"b"_s, "3"_s}, {"c"_s, "4"_s}}));
    EXPECT_TRUE(handler.setParams({}));
}

TEST(ParamStore, RefusesInnerKeys)
{
    VeskBase handler;
    ASSERT_TRUE(handler.setParam("kept"_s, "1"_s));
    EXPECT_FALSE(handler.setParam("_errorStr"_s, "x"_s));
    EXPECT_FALSE(handler.setParam("_"_s, "x"_s));
    for (const QString &key : {"_"_s, "_errorStr"_s, "__"_s, "_~"_s})
        EXPECT_FALSE(handler.setParams({{"A"_s, "x"_s}, {key, "x"_s}, {"z"_s, "x"_s}}))
            << testing::PrintToString(key);
    EXPECT_EQ(allOf(handler), (ParamMap{{"kept"_s, "1"_s}}));
    EXPECT_EQ(handler.getParamInner("_errorStr"_s, "absent"_s), "absent"_s);
    EXPECT_TRUE(handler.setParams({{"a_"_s, "x"_s}, {"^"_s, "x"_s}, {"`"_s, "x"_s}})); // beside "_" in order
}

TEST(ParamStore, KeepsInnerParametersApart)
{
    VeskBase handler;
    ASSERT_TRUE(handler.setParamInner("_version"_s, "2"_s));
    EXPECT_EQ(handler.getParamInner("_version"_s), "2"_s);
    EXPECT_EQ(handler.getParamInner("_absent"_s, "default"_s), "default"_s);
    EXPECT_EQ(handler.getParam("_version"_s, "default"_s), "default"_s);
    EXPECT_TRUE(allOf(handler).isEmpty());
    ASSERT_TRUE(handler.clearParam());
    EXPECT_EQ(handler.getParamInner("_version"_s), "2"_s);
}

TEST(ParamStore, GivesAllReplacingWhatTheMapHeld)
{
    VeskBase handler;
    ASSERT_TRUE(handler.setParam("a"_s, "1"_s));
    ParamMap map{{"old"_s, "x"_s}};
    ASSERT_TRUE(handler.getParams(map));
    EXPECT_EQ(map, (ParamMap{{"a"_s, "1"_s}}));
}

TEST(ParamStore, GivesListedKeysBesideWhatTheMapHolds)
{
    VeskBase handler;
    ASSERT_TRUE(handler.setParams({{"a"_s, "1"_s}, {"b"_s, ""_s}, {"c"_s, "3"_s}}));
    ParamMap map{{"old"_s, "x"_s}, {"a"_s, "0"_s}};
    ASSERT_TRUE(handler.getParams({"a"_s, "b"_s}, map));
    EXPECT_EQ(map, (ParamMap{{"old"_s, "x"_s}, {"a"_s, "1"_s}, {"b"_s, ""_s}}));
    EXPECT_TRUE(handler.getParams(QStringList(), map));
}

TEST(ParamStore, LeavesTheMapAloneWhenAListedKeyIsAbsent)
{
    VeskBase handler;
    ASSERT_TRUE(handler.setParams({{"a"_s, "1"_s}, {"b"_s, "2"_s}}));
    ASSERT_TRUE(handler.setParamInner("_c"_s, "3"_s));
    ParamMap map{{"old"_s, "x"_s}};
    EXPECT_FALSE(handler.getParams({"a"_s, "absent"_s, "b"_s}, map));
    EXPECT_FALSE(handler.getParams({"a"_s, "_c"_s}, map));
    ASSERT_TRUE(handler.clearParam());
    EXPECT_FALSE(handler.getParams({"a"_s}, map));
    EXPECT_EQ(map, (ParamMap{{"old"_s, "x"_s}}));
}

TEST(ParamStore, OperationsOfAHandlerAreFalseInTheBase)
{
    VeskBase handler;
    EXPECT_FALSE(handler.process());
    EXPECT_FALSE(handler.pause());
    EXPECT_FALSE(handler.cancel());
    EXPECT_FALSE(handler.request());
    EXPECT_FALSE(handler.uploadRequest());
    EXPECT_FALSE(handler.downloadRequest());
    EXPECT_FALSE(handler.listRequest());
    EXPECT_FALSE(handler.createDirRequest());
    EXPECT_FALSE(handler.respond());
    EXPECT_FALSE(handler.uploadRespond());
    EXPECT_FALSE(handler.downloadRespond());
    EXPECT_FALSE(handler.listRespond());
    EXPECT_FALSE(handler.createDirRespond());
}

TEST(ParamStore, IsReadWhileAnotherThreadWrites)
{
    VeskBase handler;
    ASSERT_TRUE(handler.setParams({{"first"_s, "0"_s}, {"second"_s, "0"_s}}));
    const Background writer([&] {
        for (int i = 0; i < 20000; ++i) {
            const QString value = QString::number(i);
            if (!handler.setParams({{"first"_s, value}, {"second"_s, value}})
                || !handler.setParamInner("_inner"_s, value))
                return false;
        }
        return true;
    });
    while (!writer.wait(std::chrono::milliseconds(0))) {
        ParamMap map;
        ASSERT_TRUE(handler.getParams({"first"_s, "second"_s}, map));
        ASSERT_EQ(map.value("first"_s), map.value("second"_s)); // a map is merged as one
        (void)handler.getParamInner("_inner"_s); // only that it may be called counts here
    }
    EXPECT_EQ(writer.wait(std::chrono::seconds(10)), true);
    EXPECT_EQ(handler.getParam("first"_s), "19999"_s);
}

} // namespace
