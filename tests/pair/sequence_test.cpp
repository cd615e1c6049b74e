#include "tests/operation/support/operation_test.h"

#include <QtCore/QDateTime>
#include <QtCore/QFileInfo>

// What each half of each operation does, call by call: parameters written, values computed, messages with
// their keys, log lines, and all of it in its order.

using namespace VESK;
using namespace VESK::Test;

namespace
{

/// Writes down every call that it makes to its base. The directory's path is written "$".
class RecordingHandler : public VeskHandler2_0_0
{
public:
    explicit RecordingHandler(const TempDir &dir)
        : m_root(dir.path())
    {
    }

    /// Forgets the calls of the host that set the task up.
    void begin() { m_calls.clear(); }
    QStringList calls() const { return m_calls; }

    bool setParam(const QString &key, const QString &value) override
    {
        note("set " + key + " = " + (key.endsWith("Time") ? "(now)" : value));
        return VeskHandler2_0_0::setParam(key, value);
    }
    bool setParams(const ParamMap &map) override
    {
        note("take " + keysOf(map));
        return VeskHandler2_0_0::setParams(map);
    }
    bool setParamInner(const QString &key, const QString &value) override
    {
        note("set " + key + " = " + value);
        return VeskHandler2_0_0::setParamInner(key, value);
    }
    bool send(int kind, const QString &text) override
    {
        note("send " + QString::number(kind) + ": " + keysOf(unSerializeParam(text)));
        return VeskHandler2_0_0::send(kind, text);
    }
    bool recv(int kind, QString &text) override
    {
        note("receive " + QString::number(kind));
        return VeskHandler2_0_0::recv(kind, text);
    }
    void log(const QString &level, const QString &message) override
    {
        note(level + ' ' + message);
        VeskHandler2_0_0::log(level, message);
    }
    QString getFileVerifyValue(const QString &path, const QString &mode) override
    {
        note("value of " + path + " by " + mode);
        return VeskHandler2_0_0::getFileVerifyValue(path, mode);
    }
    QString generateTmpFilePath(const QString &path) override
    {
        note("name for " + path);
        return VeskHandler2_0_0::generateTmpFilePath(path);
    }

private:
    static QString keysOf(const ParamMap &map) { return QStringList(map.keys()).join(' '); }
    void note(QString call)
    {
        const QString temporary = ".file.bin.";
        call.replace(m_root, "$");
        if (const int at = call.indexOf(temporary); at >= 0)
            call = call.left(at) + "(temporary)" + call.mid(call.indexOf(".vsktmp") + 7);
        m_calls << call;
    }

    const QString m_root;
    QStringList m_calls;
};

class Sequence : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.mkdir("local"));
        ASSERT_TRUE(dir.mkdir("mount/area/root/in"));
    }

    void configure(const QString &operation, const QString &verifyMode)
    {
        const bool isUpload = operation == "upload";
        client.setParams({{"endPoint", "client"},
                          {"operator", operation},
                          {"fileName", "file.bin"},
                          {"srcPath", isUpload ? dir.path("local") : "in"},
                          {"destPath", operation == "download" ? dir.path("local") : "in"},
                          {"rootPath", "root"},
                          {"appKey", "app"},
                          {"mac", "00:11"},
                          {"bVerify", verifyMode},
                          {"bReplace", "false"},
                          {"clientSocket", QString::number(pair.client())},
                          {"total", QString::number(reinterpret_cast<std::uintptr_t>(&total))},
                          {"offset", QString::number(reinterpret_cast<std::uintptr_t>(&done))}});
        server.setParams({{"endPoint", "server"},
                          {"mountPath", dir.path("mount")},
                          {"appPath", "app:area"},
                          {"fileMod", "640"},
                          {"dirMod", "750"},
                          {"serverSocket", QString::number(pair.server())}});
        client.begin();
        server.begin();
    }

    /// Runs both ends, which succeed.
    void run(const QString &operation, const QString &verifyMode = "xxh128")
    {
        configure(operation, verifyMode);
        const RunningTask serving(server, pair);
        const RunningTask requesting(client, pair);
        EXPECT_EQ(requesting.result(), true);
        EXPECT_EQ(serving.result(), true);
    }

    static QString timeSet(const QString &operation, const QString &path, qint64 time)
    {
        return "debug " + operation + ": set [" + path + "] mtime [" + QString::number(time) + "] finished!";
    }

    qint64 timeOf(const QString &name) const
    {
        return QFileInfo(dir.path(name)).lastModified().toSecsSinceEpoch();
    }

    const LogRecorder log;
    const TempDir dir;
    UdtPair pair;
    RecordingHandler client{dir};
    RecordingHandler server{dir};
    std::int64_t total = -1;
    std::int64_t done = -1;

    const QString local = "local/file.bin";
    const QString stored = "mount/area/root/in/file.bin";
    const QString uploadKeys = "appKey appVersion bReplace bVerify destPath fileName fileSize mac mtime "
                               "operator rootPath userName";
};

TEST_F(Sequence, OfAnUpload)
{
    ASSERT_TRUE(dir.write(local, pattern(5000)));
    ASSERT_TRUE(dir.write(stored, "old"));
    run("upload");
    EXPECT_EQ(client.calls(),
              (QStringList{"value of $/local/file.bin by xxh128", "send 5: " + uploadKeys + " verifyValue",
                           "receive 6", "set transferBeginSize = 0", "set beginTime = (now)",
                           "set transferEndSize = 5000", "receive 7", "receive 8", "set endTime = (now)"}));
    EXPECT_EQ(server.calls(),
              (QStringList{"receive 5", "take " + uploadKeys + " verifyValue",
                           "info uploadRespond: $/mount/area/root/in/file.bin ...",
                           "value of $/mount/area/root/in/file.bin by xxh128",
                           "set path = $/mount/area/root/in/file.bin", "info uploadRespond: recv mac: 00:11",
                           "set mac = 00:11", "name for $/mount/area/root/in/file.bin",
                           "set tmpFilePath = $/mount/area/root/in/(temporary)", "set transferBeginSize = 0",
                           "send 6: ackRespond bTransfer offset", "set beginTime = (now)",
                           "set transferEndSize = 5000",
                           "value of $/mount/area/root/in/(temporary) by xxh128", "send 7: verifyResult",
                           timeSet("uploadRespond", "$/mount/area/root/in/file.bin", timeOf(local)),
                           "send 8: fileName", "set respondStatus = success", "set endTime = (now)"}));
}

TEST_F(Sequence, OfAnUploadWithoutVerification)
{
    ASSERT_TRUE(dir.write(local, pattern(5000)));
    run("upload", "false");
    EXPECT_EQ(client.calls(),
              (QStringList{"send 5: " + uploadKeys, "receive 6", "set transferBeginSize = 0",
                           "set beginTime = (now)", "set transferEndSize = 5000", "receive 8",
                           "set endTime = (now)"}));
    EXPECT_EQ(server.calls(),
              (QStringList{"receive 5", "take " + uploadKeys,
                           "info uploadRespond: $/mount/area/root/in/file.bin ...",
                           "set path = $/mount/area/root/in/file.bin", "info uploadRespond: recv mac: 00:11",
                           "set mac = 00:11", "name for $/mount/area/root/in/file.bin",
                           "set tmpFilePath = $/mount/area/root/in/(temporary)", "set transferBeginSize = 0",
                           "send 6: ackRespond bTransfer offset", "set beginTime = (now)",
                           "set transferEndSize = 5000",
                           timeSet("uploadRespond", "$/mount/area/root/in/file.bin", timeOf(local)),
                           "send 8: fileName", "set respondStatus = success", "set endTime = (now)"}));
}

TEST_F(Sequence, OfAnUploadOfANewFileComputesNoValueOfTheTarget)
{
    ASSERT_TRUE(dir.write(local, pattern(5000)));
    run("upload");
    EXPECT_EQ(server.calls().filter("value of"),
              QStringList{"value of $/mount/area/root/in/(temporary) by xxh128"});
}

TEST_F(Sequence, OfASecondPassWithoutVerificationComputesNoValue)
{
    ASSERT_TRUE(dir.write(local, pattern(5000)));
    ASSERT_TRUE(dir.write(stored, "old"));
    run("upload", "false");
    EXPECT_EQ(server.calls().filter("value of"), QStringList());
    EXPECT_EQ(server.calls().filter("second pass").size(), 1);
}

TEST_F(Sequence, OfASecondPassUpwards)
{
    ASSERT_TRUE(dir.write(local, pattern(5000)));
    ASSERT_TRUE(dir.write(stored, pattern(5000)));
    run("upload");
    EXPECT_EQ(client.calls(),
              (QStringList{"value of $/local/file.bin by xxh128", "send 5: " + uploadKeys + " verifyValue",
                           "receive 6", "set transferBeginSize = 0",
                           "info uploadRequest: file $/local/file.bin second pass.", "set endTime = (now)"}));
    EXPECT_EQ(server.calls().mid(10),
              (QStringList{"send 6: ackRespond bTransfer offset",
                           "info uploadRespond: file $/mount/area/root/in/file.bin second pass.",
                           timeSet("uploadRespond", "$/mount/area/root/in/file.bin", timeOf(local)),
                           "set respondStatus = success", "set endTime = (now)"}));
}

TEST_F(Sequence, OfADownload)
{
    ASSERT_TRUE(dir.write(stored, pattern(5000)));
    ASSERT_TRUE(dir.write(local, "old"));
    run("download");
    const QString keys = "appKey appVersion bVerify fileName mtime offset operator rootPath srcPath userName "
                         "verifyValue";
    EXPECT_EQ(
        client.calls(),
        (QStringList{"value of $/local/file.bin by xxh128", "info downloadRequest: local mac 00:11",
                     "set mac = 00:11", "name for $/local/file.bin", "set tmpFilePath = $/local/(temporary)",
                     "set transferBeginSize = 0", "send 5: " + keys, "receive 6", "set beginTime = (now)",
                     "set transferEndSize = 5000", "value of $/local/(temporary) by xxh128",
                     "send 7: verifyResult", timeSet("downloadRequest", "$/local/file.bin", timeOf(stored)),
                     "send 8: fileName", "set endTime = (now)"}));
    EXPECT_EQ(server.calls(),
              (QStringList{"receive 5", "take " + keys, "set transferBeginSize = 0",
                           "info downloadRespond: Process downloading $/mount/area/root/in/file.bin ...",
                           "value of $/mount/area/root/in/file.bin by xxh128",
                           "set path = $/mount/area/root/in/file.bin", "set fileSize = 5000",
                           "send 6: ackRespond bTransfer bTruncate fileSize mtime verifyValue",
                           "set beginTime = (now)", "set transferEndSize = 5000", "receive 7", "receive 8",
                           "set respondStatus = success", "set endTime = (now)"}));
}

TEST_F(Sequence, OfASecondPassDownwards)
{
    ASSERT_TRUE(dir.write(stored, pattern(5000)));
    ASSERT_TRUE(dir.write(local, pattern(5000)));
    run("download");
    EXPECT_EQ(
        client.calls().mid(7),
        (QStringList{"receive 6", "info downloadRequest: file $/local/file.bin second pass.",
                     timeSet("downloadRequest", "$/local/file.bin", timeOf(stored)), "set endTime = (now)"}));
    EXPECT_EQ(server.calls().mid(7),
              (QStringList{"send 6: ackRespond bTransfer bTruncate fileSize mtime verifyValue",
                           "info downloadRespond: file $/mount/area/root/in/file.bin second pass.",
                           "set respondStatus = success", "set endTime = (now)"}));
}

TEST_F(Sequence, OfAListing)
{
    ASSERT_TRUE(dir.write(stored, "content"));
    run("list");
    const QString keys = "appKey appVersion operator rootPath srcPath userName";
    EXPECT_EQ(client.calls(),
              (QStringList{"send 5: " + keys, "receive 6", "receive 9", "set endTime = (now)"}));
    EXPECT_EQ(server.calls(),
              (QStringList{"receive 5", "take " + keys, "info listRespond: $/mount/area/root/in ...",
                           "send 6: ackRespond", "send 9: /file.bin bLast", "set respondStatus = success",
                           "set endTime = (now)"}));
}

TEST_F(Sequence, OfADirectorysCreation)
{
    run("createDir");
    const QString keys = "appKey appVersion destPath operator rootPath userName";
    EXPECT_EQ(client.calls(), (QStringList{"send 5: " + keys, "receive 6", "set endTime = (now)"}));
    EXPECT_EQ(server.calls(),
              (QStringList{"receive 5", "take " + keys, "info createDirRespond: $/mount/area/root/in ...",
                           "send 6: ackRespond", "set respondStatus = success", "set endTime = (now)"}));
}

} // namespace
