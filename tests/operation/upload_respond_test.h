#pragma once

#include "tests/operation/support/operation_test.h"

#include <QtCore/QFileInfo>

namespace VESK::Test
{

/// A server that receives an upload, whose peer is the client. The file belongs to
/// `dir`/mount/area/root/in/box/file.bin.
class UploadRespond : public ServerTest
{
protected:
    static constexpr std::int64_t clientTime = 1234567890; // seconds since 1970

    static inline const QString name = "in/box/file.bin";
    QString target() const { return storedPath(name); }
    QString directory() const { return storedPath("in/box"); }
    QString temporary() const { return handler().generateTmpFilePath(target()); }
    QString temporaryName() const { return "in/box/" + QFileInfo(temporary()).fileName(); }

    /// What a client says about `content`, verification off.
    static ParamMap offer(const QByteArray &content)
    {
        ParamMap map = taskParam("upload");
        map.insert("fileName", "file.bin");
        map.insert("destPath", "in/box");
        map.insert("bVerify", "false");
        map.insert("bReplace", "false");
        map.insert("mac", "00:11");
        map.insert("fileSize", QString::number(content.size()));
        map.insert("mtime", QString::number(clientTime));
        return map;
    }
    static ParamMap offer(const QByteArray &content, const ParamMap &more)
    {
        ParamMap map = offer(content);
        for (auto entry = more.cbegin(); entry != more.cend(); ++entry)
            map.insert(entry.key(), entry.value());
        return map;
    }

    /// Offers a file; the server's answer, or an empty map.
    ParamMap ask(const ParamMap &taskParam)
    {
        EXPECT_TRUE(peer.sendMap(MessageKind::TaskParam, taskParam));
        return peer.recvMap(MessageKind::TaskParamAck).value_or(ParamMap());
    }

    static ParamMap answer(bool transfer, qint64 offset)
    {
        return {{"ackRespond", "true"},
                {"bTransfer", transfer ? "true" : "false"},
                {"offset", QString::number(offset)}};
    }

    static QString line(const QString &level, const QString &text)
    {
        return level + "|uploadRespond: " + text;
    }
    /// The lines of a task up to its answer, then `more`.
    QStringList lines(const QStringList &more) const
    {
        return QStringList({line("info", target() + " ..."), line("info", "recv mac: 00:11")}) + more;
    }
    QString error(const QString &text) const { return line("error", text); }
    QString timeSet() const
    {
        return line("debug", "set [" + target() + "] mtime [" + QString::number(clientTime) + "] finished!");
    }

    /// What stands in the task's root directory, without the directories on the way.
    QStringList files() const
    {
        QStringList found;
        for (const QString &entry : dir.entries())
            if (entry.startsWith(stored("")) && !entry.endsWith('/'))
                found += entry.mid(stored("").size());
        return found;
    }

    QByteArray content(const QString &file) const { return dir.read(stored(file)); }
    void store(const QString &file, const QByteArray &bytes) const
    {
        ASSERT_TRUE(dir.write(stored(file), bytes));
    }
};

/// Cannot send messages of one kind.
class MuteHandler : public VeskHandler2_0_0
{
public:
    explicit MuteHandler(MessageKind kind)
        : m_kind(number(kind))
    {
    }

    bool send(int kind, const QString &text) override
    {
        return kind != m_kind && VeskHandler2_0_0::send(kind, text);
    }

private:
    const int m_kind;
};

} // namespace VESK::Test
