#include "tests/support/background.h"
#include "tests/support/scripted_peer.h"
#include "tests/support/udt_pair.h"

#include <gtest/gtest.h>

#include <QtCore/QVector>

using namespace VESK;
using namespace VESK::Test;

namespace
{

/// A server's handler that has just received a client's TaskParam.
class TaskParam : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_server.setParam("mountPath"_s, "/storage"_s));
        ASSERT_TRUE(m_server.getParams(m_before));
    }

    /// Sends the map and merges what arrives, as `respond` does.
    bool arrives(const ParamMap &map)
    {
        EXPECT_TRUE(m_client.sendMap(MessageKind::TaskParam, map));
        const auto received = m_server.recvMap(MessageKind::TaskParam);
        EXPECT_TRUE(received && *received == map);
        return received && m_server.setParams(*received);
    }

    bool isUntouched()
    {
        ParamMap now;
        return m_server.getParams(now) && now == m_before;
    }

    const UdtPair m_pair;
    ScriptedPeer m_client{m_pair.client(), "client"_s};
    ScriptedPeer m_server{m_pair.server(), "server"_s};
    ParamMap m_before;
};

const ParamMap harmless{{"operator"_s, "upload"_s}, {"fileName"_s, "a.bin"_s}, {"destPath"_s, "dir/sub"_s}};

TEST_F(TaskParam, IsMerged)
{
    ASSERT_TRUE(arrives(harmless));
    EXPECT_EQ(m_server.getParam("fileName"_s), "a.bin"_s);
    EXPECT_EQ(m_server.getParam("mountPath"_s), "/storage"_s);
}

TEST_F(TaskParam, MayHoldEveryKeyThatAClientSends)
{
    ParamMap map;
    for (const char *key :
         {"operator", "fileName", "srcPath", "destPath", "rootPath", "userName", "appKey", "appVersion",
          "bVerify", "bReplace", "fileSize", "offset", "verifyValue", "mac", "mtime", "return"})
        map.insert(QLatin1String(key), "1"_s);
    EXPECT_TRUE(arrives(map));
}

class ReservedKey : public TaskParam, public testing::WithParamInterface<const char *>
{
};

TEST_P(ReservedKey, RefusesTheWholeMap)
{
    ParamMap map = harmless;
    map.insert(QLatin1String(GetParam()), ""_s);
    EXPECT_FALSE(arrives(map));
    EXPECT_TRUE(isUntouched());
}

TEST_P(ReservedKey, IsFreeForTheHost)
{
    EXPECT_TRUE(m_server.setParams({{QLatin1String(GetParam()), "../x"_s}}));
    EXPECT_TRUE(m_server.setParam(QLatin1String(GetParam()), "../x"_s));
    EXPECT_EQ(m_server.getParam(QLatin1String(GetParam())), "../x"_s);
}

INSTANTIATE_TEST_SUITE_P(Keys, ReservedKey,
                         testing::Values("mountPath", "appPath", "fileMod", "dirMod", "logFile",
                                         "transtat-rec", "endPoint", "clientSocket", "serverSocket", "total",
                                         "tmpFilePath", "respondStatus", "beginTime", "endTime",
                                         "transferBeginSize", "transferEndSize", "clientIp", "clientPort",
                                         "path"));

class PathKey : public TaskParam, public testing::WithParamInterface<const char *>
{
protected:
    bool arrivesAs(const QString &path)
    {
        ParamMap map = harmless;
        map.insert(QLatin1String(GetParam()), path);
        return arrives(map);
    }
};

TEST_P(PathKey, RefusesPathsThatClimb)
{
    for (const QString &path :
         {".."_s, "../a"_s, "a/.."_s, "a/../b"_s, "/.."_s, "//..//"_s, "a/b/c/../../../.."_s}) {
        EXPECT_FALSE(arrivesAs(path)) << testing::PrintToString(path);
        EXPECT_TRUE(isUntouched());
    }
}

TEST_P(PathKey, RefusesCharactersThatNoFileSystemKeeps)
{
    const QString nul = "a"_s + QChar(0) + "b"_s;
    for (const QString &path : {nul, QString(QChar(0)), "a"_s + QChar(0xD800), QChar(0xDC00) + "a"_s}) {
        EXPECT_FALSE(arrivesAs(path)) << testing::PrintToString(path);
        EXPECT_TRUE(isUntouched());
    }
}

TEST_P(PathKey, AcceptsPathsThatOnlyLookOdd)
{
    for (const QString &path :
         {""_s, "."_s, "..."_s, "..a"_s, "a.."_s, "a..b/c"_s, "/a//b/"_s, "./a"_s, "%1"_s, "😀\n"_s})
        EXPECT_TRUE(arrivesAs(path)) << testing::PrintToString(path);
}

INSTANTIATE_TEST_SUITE_P(Keys, PathKey, testing::Values("fileName", "srcPath", "destPath", "rootPath"));

TEST_F(TaskParam, MayClimbInTextsThatAreNoPaths)
{
    EXPECT_TRUE(arrives({{"userName"_s, "../.."_s}, {"mac"_s, QString(QChar(0))}}));
}

TEST_F(TaskParam, IsRefusedWithInnerKeys)
{
    EXPECT_FALSE(arrives({{"_errorStr"_s, "x"_s}, {"fileName"_s, "a"_s}}));
    EXPECT_TRUE(isUntouched());
    EXPECT_EQ(m_server.getParamInner("_errorStr"_s, "absent"_s), "absent"_s);
}

TEST_F(TaskParam, IsRefusedBeyondSixtyFourKeys)
{
    ParamMap map;
    for (int i = 0; i < 64; ++i)
        map.insert("key%1"_s.arg(i), ""_s);
    EXPECT_TRUE(arrives(map));
    ASSERT_TRUE(m_server.getParams(m_before));
    map.insert("one more"_s, ""_s);
    EXPECT_FALSE(arrives(map));
    EXPECT_TRUE(isUntouched());
}

TEST_F(TaskParam, IsRefusedWithLongTexts)
{
    const QString longest(32768, QLatin1Char('x'));
    EXPECT_TRUE(arrives({{"mac"_s, longest}, {longest, "value"_s}}));
    ASSERT_TRUE(m_server.getParams(m_before));
    EXPECT_FALSE(arrives({{"mac"_s, longest + "x"_s}}));
    EXPECT_FALSE(arrives({{longest + "x"_s, "value"_s}}));
    EXPECT_TRUE(isUntouched());
}

const ParamMap hostile{{"mountPath"_s, "/"_s}, {"srcPath"_s, "../.."_s}};

TEST_F(TaskParam, IsCheckedOnce)
{
    EXPECT_FALSE(arrives(hostile));
    EXPECT_TRUE(m_server.setParams(hostile)); // now it is the host's
}

TEST_F(TaskParam, IsCheckedOnceAlsoWhenItIsAccepted)
{
    EXPECT_TRUE(arrives(harmless));
    EXPECT_TRUE(m_server.setParams(hostile));
}

TEST_F(TaskParam, IsCheckedThoughSingleParametersAreSetBefore)
{
    ASSERT_TRUE(m_client.sendMap(MessageKind::TaskParam, hostile));
    ASSERT_TRUE(m_server.recvMap(MessageKind::TaskParam));
    EXPECT_TRUE(m_server.setParam("path"_s, "/storage/a"_s));
    EXPECT_FALSE(m_server.setParams(hostile));
    EXPECT_EQ(m_server.getParam("mountPath"_s), "/storage"_s);
}

TEST_F(TaskParam, IsCheckedThoughAnotherThreadMergesAMapBefore)
{
    ASSERT_TRUE(m_client.sendMap(MessageKind::TaskParam, hostile));
    ASSERT_TRUE(m_server.recvMap(MessageKind::TaskParam));
    const Background host([&] { return m_server.setParams({{"mountPath"_s, "/other"_s}}); });
    EXPECT_EQ(host.wait(std::chrono::seconds(10)), true) << "a host's map is not restricted";
    EXPECT_FALSE(m_server.setParams(hostile));
    EXPECT_EQ(m_server.getParam("mountPath"_s), "/other"_s);
}

TEST_F(TaskParam, ChecksNoOtherMessages)
{
    for (const MessageKind kind :
         {MessageKind::TaskParamAck, MessageKind::FileVerifyResult, MessageKind::Closing,
          MessageKind::ListContent, MessageKind::FirstOfHost}) {
        ASSERT_TRUE(m_client.sendMap(kind, hostile));
        const auto received = m_server.recvMap(kind);
        ASSERT_TRUE(received);
        EXPECT_TRUE(m_server.setParams(*received)) << number(kind);
    }
}

TEST_F(TaskParam, ThatWasExpectedInVainChecksNothing)
{
    ASSERT_TRUE(m_client.sendMap(MessageKind::Closing, harmless));
    EXPECT_FALSE(m_server.recvMap(MessageKind::TaskParam));
    EXPECT_TRUE(m_server.setParams(hostile));
}

TEST_F(TaskParam, SentByThisEndChecksNothing)
{
    ASSERT_TRUE(m_server.sendMap(MessageKind::TaskParam, harmless));
    EXPECT_TRUE(m_server.setParams(hostile));
}

TEST_F(TaskParam, MapsOfTheHostAreNeverRestricted)
{
    ParamMap map = hostile;
    for (int i = 0; i < 100; ++i)
        map.insert("key%1"_s.arg(i), QString(40000, QLatin1Char('x')));
    EXPECT_TRUE(m_server.setParams(map));
    EXPECT_EQ(m_server.getParam("srcPath"_s), "../.."_s);
}

using TaskPolicyTest = TaskParam;

TEST_F(TaskPolicyTest, SeesTheMapAndMayAccept)
{
    QVector<ParamMap> asked;
    m_server.setTaskPolicy([&](const ParamMap &map) {
        asked += map;
        EXPECT_EQ(m_server.getParam("mountPath"_s), "/storage"_s); // parameters are within its reach
        EXPECT_EQ(m_server.getParam("fileName"_s), QString()); // not merged yet
        return QString();
    });
    EXPECT_TRUE(arrives(harmless));
    EXPECT_EQ(asked, QVector<ParamMap>({harmless}));
    EXPECT_EQ(m_server.getParam("fileName"_s), "a.bin"_s);
}

TEST_F(TaskPolicyTest, RefusesWithAnErrorType)
{
    m_server.setTaskPolicy([](const ParamMap &) { return "noSpace"_s; });
    EXPECT_FALSE(arrives(harmless));
    EXPECT_TRUE(isUntouched());
    EXPECT_EQ(m_server.getParamInner("_errorStr"_s), "noSpace"_s);
}

TEST_F(TaskPolicyTest, IsNotAskedAboutMapsThatAreRefusedAnyway)
{
    m_server.setTaskPolicy([](const ParamMap &) {
        ADD_FAILURE() << "asked";
        return QString();
    });
    EXPECT_FALSE(arrives(hostile));
    EXPECT_EQ(m_server.getParamInner("_errorStr"_s), QString());
}

TEST_F(TaskPolicyTest, IsNotAskedAboutInnerKeys)
{
    m_server.setTaskPolicy([](const ParamMap &) {
        ADD_FAILURE() << "asked";
        return QString();
    });
    EXPECT_FALSE(arrives({{"_errorStr"_s, "x"_s}}));
}

TEST_F(TaskPolicyTest, IsNotAskedAboutTheHostsMaps)
{
    m_server.setTaskPolicy([](const ParamMap &) { return "refused"_s; });
    EXPECT_TRUE(m_server.setParams(harmless));
    EXPECT_TRUE(m_server.setParam("fileName"_s, "b"_s));
}

TEST_F(TaskPolicyTest, CanBeRemoved)
{
    m_server.setTaskPolicy([](const ParamMap &) { return "refused"_s; });
    m_server.setTaskPolicy({});
    EXPECT_TRUE(arrives(harmless));
}

} // namespace
