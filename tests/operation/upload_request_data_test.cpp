#include "tests/operation/upload_request_test.h"

#include <QtCore/QFile>

// An uploading client from the accepted offer to the closing message.

using namespace VESK;
using namespace VESK::Test;

namespace
{

const ParamMap verified{{"verifyResult", "true"}};

TEST_F(UploadRequest, SendsTheWholeFileAndWaitsForTheClosingMessage)
{
    writeFile(pattern(100000));
    const RunningTask task = start();
    answer(goOn(0));
    EXPECT_EQ(peer.recvBytes(100000), pattern(100000));
    EXPECT_FALSE(task.result(std::chrono::milliseconds(30))) << "the file is not in place yet";
    ASSERT_TRUE(peer.sendMap(MessageKind::Closing, {{"anything", "else"}}));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(logged(), QStringList());
    EXPECT_EQ(total, 100000);
    EXPECT_EQ(done, 100000);
    EXPECT_EQ(param("transferBeginSize"), "0");
    EXPECT_EQ(param("transferEndSize"), "100000");
    EXPECT_LE(param("beginTime").toLongLong(), param("endTime").toLongLong());
    EXPECT_EQ(param("respondStatus"), "");
    EXPECT_EQ(handler().getStream(), nullptr);
    EXPECT_TRUE(saysNoMore());
}

TEST_F(UploadRequest, SendsFromTheOffsetOn)
{
    writeFile(pattern(100000));
    for (const int offset : {1, 1456, 50000, 99999}) {
        useHandler<VeskHandler2_0_0>();
        const RunningTask task = start();
        answer(goOn(offset));
        EXPECT_EQ(peer.recvBytes(100000 - offset), pattern(100000).mid(offset)) << offset;
        ASSERT_TRUE(peer.sendMap(MessageKind::Closing, {}));
        EXPECT_EQ(task.result(), true);
        EXPECT_EQ(done, 100000);
        EXPECT_EQ(param("transferBeginSize"), QString::number(offset));
        EXPECT_EQ(param("transferEndSize"), "100000");
    }
    EXPECT_TRUE(saysNoMore());
}

TEST_F(UploadRequest, AnAnswerWithoutBTransferAsksForData)
{
    writeFile("text");
    for (const ParamMap &ack : {ParamMap{{"ackRespond", "true"}, {"offset", "0"}},
                                ParamMap{{"ackRespond", "true"}, {"offset", "0"}, {"bTransfer", "False"}}}) {
        useHandler<VeskHandler2_0_0>();
        const RunningTask task = start();
        answer(ack);
        EXPECT_EQ(peer.recvBytes(4), "text");
        ASSERT_TRUE(peer.sendMap(MessageKind::Closing, {}));
        EXPECT_EQ(task.result(), true);
    }
}

TEST_F(UploadRequest, AnOffsetAtTheEndSendsNothingAndStillVerifies)
{
    writeFile("text");
    set("bVerify", "md5");
    const RunningTask task = start();
    answer(goOn(4));
    ASSERT_TRUE(peer.sendMap(MessageKind::FileVerifyResult, verified));
    ASSERT_TRUE(peer.sendMap(MessageKind::Closing, {}));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(param("transferBeginSize"), "4");
    EXPECT_EQ(param("transferEndSize"), "4");
    EXPECT_NE(param("beginTime"), "");
    EXPECT_TRUE(saysNoMore());
}

TEST_F(UploadRequest, SendsAnEmptyFile)
{
    writeFile("");
    const RunningTask task = start();
    EXPECT_EQ(answer(goOn(0)).value("fileSize"), "0");
    ASSERT_TRUE(peer.sendMap(MessageKind::Closing, {}));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(total, 0);
    EXPECT_EQ(done, 0);
    EXPECT_EQ(param("transferEndSize"), "0");
    EXPECT_TRUE(saysNoMore());
}

TEST_F(UploadRequest, AcceptsThatTheReceiverVerified)
{
    writeFile("text");
    set("bVerify", "sha1");
    const RunningTask task = start();
    answer(goOn(0));
    EXPECT_EQ(peer.recvBytes(4), "text");
    ASSERT_TRUE(peer.sendMap(MessageKind::FileVerifyResult, verified));
    EXPECT_FALSE(task.result(std::chrono::milliseconds(30))) << "the closing message is still missing";
    ASSERT_TRUE(peer.sendMap(MessageKind::Closing, {}));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(logged(), QStringList());
}

TEST_F(UploadRequest, EveryVerificationResultButTrueIsAFailure)
{
    writeFile("text");
    set("bVerify", "sha1");
    for (const ParamMap &result :
         {ParamMap{{"verifyResult", "false"}}, ParamMap{{"verifyResult", "True"}},
          ParamMap{{"verifyResult", ""}}, ParamMap{{"ackRespond", "true"}}, ParamMap()}) {
        useHandler<VeskHandler2_0_0>();
        const RunningTask task = start();
        answer(goOn(0));
        EXPECT_EQ(peer.recvBytes(4), "text");
        ASSERT_TRUE(peer.sendMap(MessageKind::FileVerifyResult, result));
        EXPECT_EQ(task.result(), false);
        EXPECT_EQ(logged(), QStringList{error("FileVerifyResult error.")});
        EXPECT_EQ(param("transferEndSize"), "4");
    }
}

TEST_F(UploadRequest, ReportsThatNoVerificationResultCame)
{
    writeFile("text");
    set("bVerify", "sha1");
    const RunningTask task = start();
    answer(goOn(0));
    EXPECT_EQ(peer.recvBytes(4), "text");
    closePeerSocket();
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), QStringList{error("recv FileVerifyResult failed.")});
}

TEST_F(UploadRequest, AClosingMessageInPlaceOfTheVerificationIsAFailure)
{
    writeFile("text");
    set("bVerify", "sha1");
    const RunningTask task = start();
    answer(goOn(0));
    EXPECT_EQ(peer.recvBytes(4), "text");
    ASSERT_TRUE(peer.sendMap(MessageKind::Closing, {}));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), QStringList{error("recv FileVerifyResult failed.")});
}

TEST_F(UploadRequest, WithoutVerificationAResultIsNotExpected)
{
    writeFile("text");
    const RunningTask task = start();
    answer(goOn(0));
    EXPECT_EQ(peer.recvBytes(4), "text");
    ASSERT_TRUE(peer.sendMap(MessageKind::FileVerifyResult, verified));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), QStringList{error("recv 8 failed.")});
}

TEST_F(UploadRequest, ReportsThatNoClosingMessageCame)
{
    writeFile("text");
    const RunningTask task = start();
    answer(goOn(0));
    EXPECT_EQ(peer.recvBytes(4), "text");
    closePeerSocket();
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), QStringList{error("recv 8 failed.")});
    EXPECT_EQ(param("transferEndSize"), "4");
    EXPECT_EQ(handler().getLastError(), "");
}

TEST_F(UploadRequest, ReportsAFileThatVanishedMeanwhile)
{
    writeFile("text");
    const RunningTask task = start();
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    ASSERT_TRUE(QFile::remove(path()));
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, goOn(0)));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(),
              QStringList({"error|createStream: QFile open file " + path()
                               + " failed.error No such file or directory",
                           error("createStream " + path() + " failed.")}));
    EXPECT_EQ(param("transferBeginSize"), "0");
    EXPECT_EQ(param("transferEndSize"), "");
    EXPECT_TRUE(saysNoMore());
}

TEST_F(UploadRequest, ADirectoryIsNoFileToSend)
{
    ASSERT_TRUE(dir.mkdir("local/file.bin"));
    const RunningTask task = start();
    answer(goOn(0));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(
        logged(),
        QStringList({"error|createStream: QFile open file " + path() + " failed.error Not a regular file",
                     error("createStream " + path() + " failed.")}));
}

TEST_F(UploadRequest, ReportsATransferThatTheConnectionBroke)
{
    constexpr qint64 size = 64 << 20; // more than the library buffers for a peer that does not read
    writeFile(pattern(size));
    const RunningTask task = start();
    answer(goOn(0));
    ASSERT_EQ(peer.recvBytes(1000), pattern(1000));
    closePeerSocket();
    EXPECT_EQ(task.result(), false);
    ASSERT_EQ(logged().size(), 1);
    EXPECT_TRUE(logged().first().startsWith(error("sendfile " + path() + " failed.\nConnection was broken")))
        << logged().first().toStdString();
    EXPECT_EQ(param("transferEndSize"), QString::number(done));
    EXPECT_LT(done, size);
    EXPECT_EQ(total, size);
    EXPECT_EQ(handler().getStream(), nullptr);
    EXPECT_EQ(handler().getLastError(), "");
}

TEST_F(UploadRequest, ReportsAFileThatBecameShorterMeanwhile)
{
    writeFile(pattern(100000));
    const RunningTask task = start();
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    writeFile(pattern(1000));
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, goOn(0)));
    EXPECT_EQ(task.result(), false);
    ASSERT_EQ(logged().size(), 1);
    EXPECT_TRUE(logged().first().startsWith(error("sendfile " + path() + " failed.\nFile system failure")))
        << logged().first().toStdString();
    EXPECT_EQ(peer.recvBytes(1000), pattern(1000));
}

TEST_F(UploadRequest, AFileThatGrewMeanwhileIsSentAsItWasOffered)
{
    writeFile(pattern(1000));
    const RunningTask task = start();
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    writeFile(pattern(100000));
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, goOn(0)));
    EXPECT_EQ(peer.recvBytes(1000), pattern(1000));
    ASSERT_TRUE(peer.sendMap(MessageKind::Closing, {}));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(total, 1000);
    EXPECT_EQ(done, 1000);
    EXPECT_TRUE(saysNoMore());
}

TEST_F(UploadRequest, AStatusSetDuringTheTaskFailsItInTheEnd)
{
    writeFile("text");
    const RunningTask task = start();
    answer(goOn(0));
    EXPECT_EQ(peer.recvBytes(4), "text");
    handler().setStatus("pause");
    ASSERT_TRUE(peer.sendMap(MessageKind::Closing, {}));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler().getLastError(), "pause");
    EXPECT_EQ(done, 4);
    EXPECT_EQ(logged(), QStringList());
}

TEST_F(UploadRequest, AStatusSetBeforeTheTransferEndsItThere)
{
    writeFile("text");
    handler().setStatus("cancel");
    const RunningTask task = start();
    answer(goOn(0));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler().getLastError(), "cancel");
    EXPECT_EQ(param("beginTime"), "");
    EXPECT_EQ(param("transferEndSize"), "");
    EXPECT_EQ(logged(), QStringList());
    EXPECT_TRUE(dir.exists("local/file.bin")) << "a cancelled upload keeps the source";
    EXPECT_TRUE(saysNoMore());
}

TEST_F(UploadRequest, SendsThroughASocketThatTheHostMadeNonBlocking)
{
    constexpr qint64 size = 32 << 20; // fills the library's buffers
    writeFile(pattern(size));
    const bool blocking = false;
    ASSERT_NE(UDT::setsockopt(handlerSocket(), 0, UDT_SNDSYN, &blocking, sizeof blocking), UDT::ERROR);
    ASSERT_NE(UDT::setsockopt(handlerSocket(), 0, UDT_RCVSYN, &blocking, sizeof blocking), UDT::ERROR);
    const RunningTask task = start();
    answer(goOn(0));
    EXPECT_EQ(peer.recvBytes(size), pattern(size));
    ASSERT_TRUE(peer.sendMap(MessageKind::Closing, {}));
    EXPECT_EQ(task.result(), true);

    bool after = true;
    int length = sizeof after;
    ASSERT_NE(UDT::getsockopt(handlerSocket(), 0, UDT_SNDSYN, &after, &length), UDT::ERROR);
    EXPECT_FALSE(after) << "the host's setting is back";
}

TEST_F(UploadRequest, ManyTasksUseOneConnectionOneAfterAnother)
{
    for (const int size : {10, 0, 5000, 1}) {
        writeFile(pattern(size));
        useHandler<VeskHandler2_0_0>();
        const RunningTask task = start();
        EXPECT_EQ(answer(goOn(0)).value("fileSize"), QString::number(size));
        EXPECT_EQ(peer.recvBytes(size), pattern(size));
        ASSERT_TRUE(peer.sendMap(MessageKind::Closing, {}));
        EXPECT_EQ(task.result(), true);
    }
    EXPECT_TRUE(saysNoMore());
}

} // namespace
