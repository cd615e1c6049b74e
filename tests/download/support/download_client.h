#pragma once

#include "tests/listing/support/staged_handler.h"
#include "tests/operation/support/operation_test.h"

#include <QtCore/QDateTime>
#include <QtCore/QFileInfo>

namespace VESK::Test
{

/// A client's handler that downloads "file.bin" into `dir`/in, and a server that says what a test wants.
class DownloadClientTest : public ClientTest
{
protected:
    DownloadClientTest()
        : ClientTest("download")
    {
        set("srcPath", "a/b");
        set("destPath", dir.path("in"));
    }

    QString local() const { return dir.path("in/file.bin"); }
    QString temporary() const { return VeskBase().generateTmpFilePath(local()); }
    /// The temporary file's name below `dir`.
    QString temporaryName() const { return "in/" + temporary().section('/', -1); }

    /// An answer that offers `content`, without a verification value.
    static ParamMap offer(const QByteArray &content, const ParamMap &changes = {})
    {
        ParamMap ack{{"ackRespond", "true"},
                     {"bTruncate", "false"},
                     {"fileSize", QString::number(content.size())},
                     {"verifyValue", ""},
                     {"mtime", QString::number(serverTime)},
                     {"bTransfer", "true"}};
        for (auto change = changes.cbegin(); change != changes.cend(); ++change)
            ack.insert(change.key(), change.value());
        return ack;
    }

    /// Hears the TaskParam and answers it. What was heard is in `asked`.
    void answer(const ParamMap &ack)
    {
        const std::optional<ParamMap> map = peer.recvMap(MessageKind::TaskParam);
        ASSERT_TRUE(map);
        asked = *map;
        ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, ack));
    }

    void expectClosing()
    {
        EXPECT_EQ(peer.recvMap(MessageKind::Closing), (ParamMap{{"fileName", "file.bin"}}));
    }

    /// Runs one task that fails; the answer makes it.
    void expectFailure(const ParamMap &ack, const QStringList &lines)
    {
        const RunningTask task = start();
        answer(ack);
        EXPECT_EQ(task.result(), false);
        EXPECT_EQ(logged(), lines);
        EXPECT_TRUE(nothingElseCame(handler(), peer));
    }

    QString macLine() const { return "info|downloadRequest: local mac 00:11:22:33:44:55"; }
    QString timeLine() const
    {
        return "debug|downloadRequest: set [" + local() + "] mtime [" + QString::number(serverTime)
            + "] finished!";
    }

    static qint64 timeOf(const QString &path) { return QFileInfo(path).lastModified().toSecsSinceEpoch(); }

    static constexpr qint64 serverTime = 1234567890; // seconds since 1970
    const QByteArray content = pattern(100000);
    ParamMap asked;
};

} // namespace VESK::Test
