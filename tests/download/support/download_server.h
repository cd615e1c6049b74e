#pragma once

#include "tests/listing/support/staged_handler.h"
#include "tests/operation/support/operation_test.h"

namespace VESK::Test
{

/// A server's handler that is asked for "box/file.bin" of its storage.
class DownloadServerTest : public ServerTest
{
protected:
    QString path() const { return storedPath("box/file.bin"); }

    /// Writes the file that is asked for, with the modification time `serverTime`.
    void offer(const QByteArray &content)
    {
        ASSERT_TRUE(dir.write(stored("box/file.bin"), content));
        handler().UpdateMtime(path(), "setup", serverTime);
        m_setupLines = logged().size();
    }

    static ParamMap taskFor(const ParamMap &changes = {})
    {
        ParamMap map = taskParam("download");
        map.insert("srcPath", "box");
        map.insert("fileName", "file.bin");
        map.insert("bVerify", "false");
        map.insert("offset", "0");
        for (auto change = changes.cbegin(); change != changes.cend(); ++change)
            map.insert(change.key(), change.value());
        return map;
    }

    /// Asks for the file; the answer, or an empty map.
    ParamMap ask(const ParamMap &task)
    {
        EXPECT_TRUE(peer.sendMap(MessageKind::TaskParam, task));
        const std::optional<ParamMap> ack = peer.recvMap(MessageKind::TaskParamAck);
        EXPECT_TRUE(ack);
        return ack.value_or(ParamMap());
    }

    [[nodiscard]] bool close() { return peer.sendMap(MessageKind::Closing, {{"fileName", "file.bin"}}); }

    /// The lines of the task.
    QStringList lines() const { return logged().mid(m_setupLines); }
    QString startLine() const { return "info|downloadRespond: Process downloading " + path() + " ..."; }

    static constexpr qint64 serverTime = 1234567890; // seconds since 1970

private:
    int m_setupLines = 0;
};

} // namespace VESK::Test
