#include "tests/operation/upload_request_test.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QFile>

#include <fcntl.h>
#include <sys/stat.h>

// What an uploading client says about its file, and what it does not get to say.

using namespace VESK;
using namespace VESK::Test;

namespace
{

const ParamMap refusal{{"ackRespond", "false"}};

void setModificationTime(const QString &path, time_t time)
{
    const timespec times[2] = {{time, 0}, {time, 999999999}};
    ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0), 0);
}

ParamMap offerWithoutVerification(const QString &size, const QString &time)
{
    return {{"operator", "upload"},       {"fileName", "file.bin"}, {"destPath", "in/box"},
            {"rootPath", "root"},         {"userName", "user"},     {"appKey", "app"},
            {"appVersion", "1.0"},        {"bVerify", "false"},     {"bReplace", "false"},
            {"mac", "00:11:22:33:44:55"}, {"fileSize", size},       {"mtime", time}};
}

TEST_F(UploadRequest, OffersTheFileWithoutAVerificationValue)
{
    writeFile(pattern(1234));
    setModificationTime(path(), 1234567890);
    const RunningTask task = start();
    EXPECT_EQ(answer(refusal), offerWithoutVerification("1234", "1234567890"));
    EXPECT_EQ(task.result(), false);
}

TEST_F(UploadRequest, OffersTheFileWithAVerificationValue)
{
    writeFile(pattern(1234));
    setModificationTime(path(), 1234567890);
    set("bVerify", "sha256");
    set("bReplace", "true");
    const RunningTask task = start();
    ParamMap expected = offerWithoutVerification("1234", "1234567890");
    expected.insert("bVerify", "sha256");
    expected.insert("bReplace", "true");
    expected.insert("verifyValue",
                    QCryptographicHash::hash(pattern(1234), QCryptographicHash::Sha256).toHex().constData());
    EXPECT_EQ(answer(refusal), expected);
    EXPECT_EQ(task.result(), false);
}

TEST_F(UploadRequest, AnEmptyVerificationModeIsOn)
{
    writeFile("text");
    set("bVerify", "");
    const RunningTask task = start();
    const ParamMap offer = answer(refusal);
    EXPECT_EQ(offer.value("bVerify", "absent"), "");
    EXPECT_EQ(offer.value("verifyValue"), handler().getFileVerifyValue(path(), ""));
    EXPECT_NE(offer.value("verifyValue"), "");
}

TEST_F(UploadRequest, TellsTheHostTheSizeOfTheFile)
{
    writeFile(pattern(1234));
    const RunningTask task = start();
    answer(refusal);
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(total, 1234);
}

TEST_F(UploadRequest, OffersWhatALinkLeadsTo)
{
    ASSERT_TRUE(dir.write("elsewhere", pattern(500)));
    setModificationTime(dir.path("elsewhere"), 1000000000);
    ASSERT_TRUE(dir.mkdir("local"));
    ASSERT_TRUE(QFile::link(dir.path("elsewhere"), path()));
    const RunningTask task = start();
    EXPECT_EQ(answer(goOn(0)), offerWithoutVerification("500", "1000000000"));
    EXPECT_EQ(peer.recvBytes(500), pattern(500));
    ASSERT_TRUE(peer.sendMap(MessageKind::Closing, {}));
    EXPECT_EQ(task.result(), true);
}

TEST_F(UploadRequest, OffersNothingForALinkThatLeadsNowhere)
{
    ASSERT_TRUE(dir.mkdir("local"));
    ASSERT_TRUE(QFile::link(dir.path("nowhere"), path()));
    EXPECT_FALSE(handler().process());
    EXPECT_EQ(logged(), QStringList{error("file " + path() + " not exist.")});
    EXPECT_EQ(total, 0);
    EXPECT_TRUE(saysNoMore());
}

TEST_F(UploadRequest, ATimeBefore1970TravelsAsTheLargestNumber)
{
    writeFile("text");
    setModificationTime(path(), -5);
    const RunningTask task = start();
    EXPECT_EQ(answer(refusal).value("mtime"), "4294967295");
}

TEST_F(UploadRequest, NamesTravelUnchanged)
{
    const QString name = QString::fromUtf8("a b %1 \xD1\x84\xD0\xB0\xD0\xB9\xD0\xBB=\n\xF0\x9F\x93\xA6");
    ASSERT_TRUE(dir.write("local/" + name, "text"));
    set("fileName", name);
    set("destPath", "d=\\%2");
    const RunningTask task = start();
    const ParamMap offer = answer({{"ackRespond", "true"}, {"bTransfer", "false"}});
    EXPECT_EQ(offer.value("fileName"), name);
    EXPECT_EQ(offer.value("destPath"), "d=\\%2");
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(logged(), QStringList{line("info", "file " + dir.path("local/" + name) + " second pass.")});
}

TEST_F(UploadRequest, NeedsTheAddressOfTheTotal)
{
    for (const QString value : {"", "0", "none", "-1"}) {
        const int before = logged().size();
        set("total", value);
        set("offset", "");
        EXPECT_FALSE(handler().process());
        EXPECT_EQ(logged().mid(before), QStringList{error("get total failed.")});
    }
    EXPECT_TRUE(saysNoMore());
}

TEST_F(UploadRequest, NeedsTheAddressOfTheOffset)
{
    set("offset", "");
    EXPECT_FALSE(handler().process());
    EXPECT_EQ(logged(), QStringList{error("get offset failed.")});
    EXPECT_EQ(total, untouched);
    EXPECT_EQ(param("transferBeginSize"), "");
    EXPECT_TRUE(saysNoMore());
}

TEST_F(UploadRequest, DumpsTheParametersWhenOneIsMissing)
{
    writeFile("text");
    const QString totalAddress = param("total");
    const QString offsetAddress = param("offset");
    handler().clearParam();
    for (const auto &entry : {std::make_pair("endPoint", QString("client")),
                              {"operator", "upload"},
                              {"total", totalAddress},
                              {"offset", offsetAddress},
                              {"fileName", "file %1.bin"},
                              {"mac", "m"}})
        set(entry.first, entry.second);
    EXPECT_FALSE(handler().process());
    EXPECT_EQ(
        logged(),
        QStringList({error("getParams failed."),
                     error("params ====\noperator:[upload] fileName:[file %1.bin] destPath:[] rootPath:[] "
                           "userName:[] appKey:[] appVersion:[] bVerify:[] bReplace:[] mac:[m] ")}));
    EXPECT_EQ(total, untouched);
    EXPECT_TRUE(saysNoMore());
}

TEST_F(UploadRequest, AMissingFileIsReportedAsSuchWithVerificationOff)
{
    EXPECT_FALSE(handler().process());
    EXPECT_EQ(logged(), QStringList{error("file " + path() + " not exist.")});
    EXPECT_EQ(total, 0);
    EXPECT_EQ(done, untouched);
    EXPECT_EQ(handler().getLastError(), "");
    EXPECT_TRUE(saysNoMore());
}

TEST_F(UploadRequest, AMissingFileHasNoVerificationValue)
{
    set("bVerify", "md5");
    EXPECT_FALSE(handler().process());
    EXPECT_EQ(logged(), QStringList{error("calc FileVerifyValue failed.")});
    EXPECT_EQ(total, untouched);
    EXPECT_TRUE(saysNoMore());
}

TEST_F(UploadRequest, AMissingFileWithAVerificationValueIsReportedAsMissing)
{
    class Inventive : public VeskHandler2_0_0
    {
    public:
        QString getFileVerifyValue(const QString &, const QString &) override { return "value"; }
    };
    useHandler<Inventive>();
    set("bVerify", "md5");
    EXPECT_FALSE(handler().process());
    EXPECT_EQ(logged(), QStringList{error("file " + path() + " not exist.")});
    EXPECT_EQ(total, 0);
}

TEST_F(UploadRequest, ReportsThatTheOfferCannotBeSent)
{
    writeFile("text");
    closeHandlerSocket();
    EXPECT_FALSE(handler().process());
    EXPECT_EQ(logged(), QStringList{error("send TaskParam failed.")});
    EXPECT_EQ(total, 4);
    EXPECT_EQ(done, untouched);
}

TEST_F(UploadRequest, AnUnsetSocketFailsAtTheOffer)
{
    writeFile("text");
    set("clientSocket", "");
    EXPECT_FALSE(handler().process());
    EXPECT_EQ(logged(), QStringList{error("send TaskParam failed.")});
}

} // namespace
