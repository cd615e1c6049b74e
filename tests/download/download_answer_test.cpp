#include "tests/download/support/download_server.h"

#include "vesk_base/verify_value.h"

#include <QtCore/QFile>

using namespace VESK;
using namespace VESK::Test;

namespace
{

class DownloadAnswer : public DownloadServerTest
{
protected:
    /// Asks and leaves: the answer alone is of interest.
    ParamMap answerTo(const ParamMap &changes)
    {
        UdtPair fresh;
        ScriptedPeer client(fresh.client(), "client");
        useHandler<VeskHandler2_0_0>();
        set("serverSocket", QString::number(fresh.server()));
        const RunningTask task(handler(), fresh);
        EXPECT_TRUE(client.sendMap(MessageKind::TaskParam, taskFor(changes)));
        const std::optional<ParamMap> ack = client.recvMap(MessageKind::TaskParamAck);
        EXPECT_TRUE(ack);
        fresh.closeClient();
        EXPECT_TRUE(task.result());
        return ack.value_or(ParamMap());
    }

    static ParamMap plainAck(const QByteArray &content)
    {
        return {{"ackRespond", "true"},
                {"bTruncate", "false"},
                {"fileSize", QString::number(content.size())},
                {"verifyValue", ""},
                {"mtime", QString::number(serverTime)},
                {"bTransfer", "true"}};
    }
};

TEST_F(DownloadAnswer, HoldsExactlySixKeys)
{
    offer("abc");
    EXPECT_EQ(answerTo({}), plainAck("abc"));
    EXPECT_EQ(param("path"), path());
    EXPECT_EQ(param("fileSize"), "3");
    EXPECT_EQ(param("transferBeginSize"), "0");
}

TEST_F(DownloadAnswer, HoldsTheValueOfEachMode)
{
    offer("abc");
    for (const QString mode : {"md5", "sha1", "sha256", "fileattr", "", "anything"}) {
        ParamMap expected = plainAck("abc");
        expected.insert("verifyValue", fileVerifyValue(path(), mode));
        EXPECT_NE(expected.value("verifyValue"), "");
        EXPECT_EQ(answerTo({{"bVerify", mode}}), expected) << mode.toStdString();
    }
}

TEST_F(DownloadAnswer, AcceptsEveryOffsetInTheFile)
{
    offer("abc");
    for (const QString offset : {"0", "1", "3"}) {
        EXPECT_EQ(answerTo({{"offset", offset}}), plainAck("abc"));
        EXPECT_EQ(param("transferBeginSize"), offset);
    }
}

TEST_F(DownloadAnswer, RejectsEveryOffsetOutsideTheFile)
{
    offer("abc");
    ParamMap expected = plainAck("abc");
    expected.insert("bTruncate", "true");
    for (const QString offset : {"-1", "4", "-9223372036854775808", "9223372036854775807"}) {
        SCOPED_TRACE(offset.toStdString());
        const int before = log.lines().size();
        EXPECT_EQ(answerTo({{"offset", offset}}), expected);
        EXPECT_EQ(param("transferBeginSize"), offset) << "what the client said, not what became of it";
        EXPECT_EQ(log.lines().mid(before, 2),
                  (QStringList{startLine(),
                               "warning|downloadRespond: client tmp file offset[" + offset
                                   + "], server file size[3]."}));
    }
}

TEST_F(DownloadAnswer, TakesAnAbsentOffsetForMinusOne)
{
    offer("abc");
    ParamMap expected = plainAck("abc");
    expected.insert("bTruncate", "true");
    EXPECT_EQ(answerTo({{"offset", ""}}), expected);
    EXPECT_EQ(param("transferBeginSize"), "-1");

    ParamMap without = taskFor();
    without.remove("offset");
    set("offset", "");
    set("serverSocket", QString::number(handlerSocket()));
    const RunningTask task = start();
    EXPECT_EQ(ask(without), expected);
    EXPECT_EQ(peer.recvBytes(3), QByteArray("abc"));
    ASSERT_TRUE(close());
    EXPECT_EQ(task.result(), true);
}

TEST_F(DownloadAnswer, TakesAnOffsetThatIsNoNumberForZero)
{
    offer("abc");
    EXPECT_EQ(answerTo({{"offset", "garbage"}}), plainAck("abc"));
    EXPECT_EQ(param("transferBeginSize"), "0");
}

TEST_F(DownloadAnswer, JoinsAllFivePaths)
{
    ASSERT_TRUE(dir.write("mount/x/y/r/s/t/name", "abc"));
    set("mountPath", dir.path("mount") + "//");
    set("appPath", "app:/x/y/");
    answerTo({{"rootPath", "/r/"}, {"srcPath", "s//t"}, {"fileName", "name"}});
    EXPECT_EQ(param("path"), dir.path("mount/x/y/r/s/t/name"));
    EXPECT_EQ(param("fileSize"), "3");
}

TEST_F(DownloadAnswer, IsCompleteForAMissingFile)
{
    for (const QString mode : {"false", "md5"}) {
        const int before = log.lines().size();
        const ParamMap expected{{"ackRespond", "false"},       {"bTruncate", "false"},  {"fileSize", "0"},
                                {"verifyValue", ""},           {"mtime", "4294967295"}, {"bTransfer", "true"},
                                {"errorType", "FileNotExist"}, {"errorName", path()}};
        EXPECT_EQ(answerTo({{"bVerify", mode}}), expected);
        EXPECT_EQ(log.lines().mid(before),
                  (QStringList{startLine(), "error|downloadRespond: file " + path() + " not exist."}));
        EXPECT_EQ(param("respondStatus"), "failed");
        EXPECT_EQ(param("path"), path());
        EXPECT_EQ(param("fileSize"), "0");
        EXPECT_EQ(param("beginTime"), "");
    }
    EXPECT_EQ(dir.entries(), QStringList());
}

TEST_F(DownloadAnswer, RejectsTheOffsetForAMissingFileToo)
{
    const int before = log.lines().size();
    EXPECT_EQ(answerTo({{"offset", "5"}}).value("bTruncate"), "true");
    EXPECT_EQ(
        log.lines().mid(before),
        (QStringList{startLine(), "warning|downloadRespond: client tmp file offset[5], server file size[0].",
                     "error|downloadRespond: file " + path() + " not exist."}));
}

TEST_F(DownloadAnswer, AMissingFileOfASecondPassIsStillMissing)
{
    // The time of a missing file and two empty values: equal in the mode that compares attributes.
    const ParamMap ack = answerTo({{"bVerify", "fileattr"}, {"mtime", "4294967295"}, {"verifyValue", ""}});
    EXPECT_EQ(ack.value("ackRespond"), "false");
    EXPECT_EQ(ack.value("bTransfer"), "false");
    EXPECT_EQ(logged().last(), "error|downloadRespond: file " + path() + " not exist.");
    EXPECT_EQ(param("respondStatus"), "failed");
}

struct PassCase {
    const char *mode;
    bool sameValue;
    const char *time; // of the client's file; null when it sends none
    bool transfer;
};

void PrintTo(const PassCase &pass, std::ostream *out)
{
    *out << "mode '" << pass.mode << "', " << (pass.sameValue ? "same" : "another") << " value, time "
         << (pass.time ? pass.time : "absent");
}

class DownloadPass : public DownloadAnswer, public testing::WithParamInterface<PassCase>
{
};

TEST_P(DownloadPass, IsDecidedByWhatTheClientSays)
{
    const PassCase &pass = GetParam();
    offer("abc");
    const QString value = fileVerifyValue(path(), pass.mode);
    ParamMap changes{{"bVerify", pass.mode}, {"verifyValue", pass.sameValue ? value : "another"}};
    if (pass.time != nullptr)
        changes.insert("mtime", pass.time);
    const int before = log.lines().size();
    EXPECT_EQ(answerTo(changes).value("bTransfer"), pass.transfer ? "true" : "false");
    const QString line = "info|downloadRespond: file " + path() + " second pass.";
    EXPECT_EQ(log.lines().mid(before).contains(line), !pass.transfer);
    EXPECT_EQ(param("respondStatus"), pass.transfer ? "failed" : "success");
}

INSTANTIATE_TEST_SUITE_P(
    Cases, DownloadPass,
    testing::Values(PassCase{"false", true, "1234567890", true}, PassCase{"md5", true, "5", false},
                    PassCase{"md5", false, "1234567890", true}, PassCase{"", true, nullptr, false},
                    PassCase{"fileattr", true, "1234567890", false}, PassCase{"fileattr", true, "5", true},
                    PassCase{"fileattr", true, nullptr, false}, PassCase{"fileattr", true, "-1", false},
                    PassCase{"fileattr", false, "1234567890", true},
                    PassCase{"fileattr", false, nullptr, true}));

TEST_F(DownloadAnswer, ASecondPassExchangesNothingMore)
{
    offer("abc");
    const RunningTask task = start();
    const ParamMap ack =
        ask(taskFor({{"bVerify", "md5"}, {"verifyValue", "900150983cd24fb0d6963f7d28e17f72"}}));
    EXPECT_EQ(ack.value("bTransfer"), "false");
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(lines(), (QStringList{startLine(), "info|downloadRespond: file " + path() + " second pass."}));
    EXPECT_EQ(param("transferEndSize"), "");
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(DownloadAnswer, IsNotGivenForAnUnknownApplication)
{
    set("appPath", "other:area");
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskFor({{"offset", "77"}})));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(lines(), QStringList{"error|downloadRespond: get path of app [app] failed."});
    EXPECT_EQ(param("transferBeginSize"), "77") << "it is recorded first";
    EXPECT_FALSE(handler().hasSent(MessageKind::TaskParamAck));
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(DownloadAnswer, IsNotGivenForAPathThatLeadsOutside)
{
    ASSERT_TRUE(dir.write("secret", "x"));
    const QString hostile[] = {"../../../../secret", "a/../../../../../secret", "..",
                               "a" + QString(QChar(0)) + "b", QString(QChar(0xD800))};
    for (const QString &name : hostile) {
        for (const QString key : {"fileName", "srcPath", "rootPath"}) {
            UdtPair fresh;
            ScriptedPeer client(fresh.client(), "client");
            useHandler<VeskHandler2_0_0>();
            set("serverSocket", QString::number(fresh.server()));
            const int before = log.lines().size();
            const RunningTask task(handler(), fresh);
            ASSERT_TRUE(client.sendMap(MessageKind::TaskParam, taskFor({{key, name}})));
            EXPECT_EQ(task.result(), false);
            EXPECT_EQ(log.lines().mid(before), QStringList{"error|respond: TaskParam setParams failed."});
            EXPECT_TRUE(nothingElseCame(handler(), client));
        }
    }
}

TEST_F(DownloadAnswer, AnAbsolutePathStaysBelowTheRoot)
{
    answerTo({{"srcPath", "/etc"}, {"fileName", "/passwd"}});
    EXPECT_EQ(param("path"), storedPath("etc/passwd"));
}

TEST_F(DownloadAnswer, ReportsThatItCannotBeSent)
{
    offer("abc");
    auto &staged = useHandler<StagedHandler>();
    staged.beforeSend = [](int kind) { return kind != number(MessageKind::TaskParamAck); };
    const int before = log.lines().size();
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskFor()));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(log.lines().mid(before),
              (QStringList{startLine(), "error|downloadRespond: send TaskParamAck failed."}));
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(DownloadAnswer, FollowsALink)
{
    ASSERT_TRUE(dir.write("mount/real", "abc"));
    VeskHandler2_0_0().UpdateMtime(dir.path("mount/real"), "setup", serverTime);
    ASSERT_TRUE(dir.mkdir(stored("box")));
    ASSERT_TRUE(QFile::link(dir.path("mount/real"), path()));
    EXPECT_EQ(answerTo({}), plainAck("abc"));
}

} // namespace
