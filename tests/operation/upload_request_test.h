#pragma once

#include "tests/operation/support/operation_test.h"

namespace VESK::Test
{

/// An uploading client, whose peer is the server. The file is `dir`/local/file.bin.
class UploadRequest : public ClientTest
{
protected:
    UploadRequest()
        : ClientTest("upload")
    {
    }

    void writeFile(const QByteArray &content) const { ASSERT_TRUE(dir.write("local/file.bin", content)); }
    QString path() const { return dir.path("local/file.bin"); }

    static QString line(const QString &level, const QString &text)
    {
        return level + "|uploadRequest: " + text;
    }
    static QString error(const QString &text) { return line("error", text); }

    /// The answer that asks for the data from `offset` on.
    static ParamMap goOn(qint64 offset)
    {
        return {{"ackRespond", "true"}, {"bTransfer", "true"}, {"offset", QString::number(offset)}};
    }

    /// Hears the TaskParam and gives `ack` for an answer. What was heard.
    ParamMap answer(const ParamMap &ack)
    {
        const auto heard = peer.recvMap(MessageKind::TaskParam);
        EXPECT_TRUE(heard);
        EXPECT_TRUE(peer.sendMap(MessageKind::TaskParamAck, ack));
        return heard.value_or(ParamMap());
    }

    /// Has all that the client sent been received? To be asked after its task has ended.
    bool saysNoMore()
    {
        const linger untilDelivered{1, 10};
        UDT::setsockopt(handlerSocket(), 0, UDT_LINGER, &untilDelivered, sizeof untilDelivered);
        closeHandlerSocket();
        return peer.recvBytes(1).isEmpty();
    }
};

} // namespace VESK::Test
