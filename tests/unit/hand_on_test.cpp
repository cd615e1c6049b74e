#include "tests/support/scripted_peer.h"
#include "tests/support/udt_pair.h"

#include "vesk_base/param_text.h"

#include <gtest/gtest.h>

using namespace VESK;
using namespace VESK::Test;

namespace
{

const int taskParam = number(MessageKind::TaskParam);

/// A server's handler, and the client at the other end of its connection.
class HandOn : public testing::Test
{
protected:
    const UdtPair m_pair;
    ScriptedPeer m_client{m_pair.client(), "client"_s};
    ScriptedPeer m_server{m_pair.server(), "server"_s};
    QString m_text;
};

TEST_F(HandOn, IsReceivedBeforeWhatTheConnectionHolds)
{
    ASSERT_TRUE(m_client.send(taskParam, "second"_s));
    m_server.handOn(taskParam, "first"_s);
    ASSERT_TRUE(m_server.recv(taskParam, m_text));
    EXPECT_EQ(m_text, "first"_s);
    ASSERT_TRUE(m_server.recv(taskParam, m_text));
    EXPECT_EQ(m_text, "second"_s);
}

TEST_F(HandOn, OfAnotherKindIsConsumed)
{
    ASSERT_TRUE(m_client.send(taskParam, "second"_s));
    m_server.handOn(number(MessageKind::Closing), "first"_s);
    EXPECT_FALSE(m_server.recv(taskParam, m_text));
    EXPECT_EQ(m_text, QString());
    ASSERT_TRUE(m_server.recv(taskParam, m_text));
    EXPECT_EQ(m_text, "second"_s);
}

TEST_F(HandOn, TheLastOneCounts)
{
    m_server.handOn(taskParam, "first"_s);
    m_server.handOn(taskParam, "second"_s);
    ASSERT_TRUE(m_server.recv(taskParam, m_text));
    EXPECT_EQ(m_text, "second"_s);
}

TEST_F(HandOn, IsCheckedAsAClientsMap)
{
    m_server.handOn(taskParam, writeParamText({{"mountPath"_s, "/"_s}}));
    ASSERT_TRUE(m_server.recv(taskParam, m_text));
    EXPECT_FALSE(m_server.setParams(VeskBase::unSerializeParam(m_text)));
    EXPECT_EQ(m_server.getParam("mountPath"_s, "absent"_s), "absent"_s);
}

TEST_F(HandOn, IsAskedOfThePolicy)
{
    QString asked;
    m_server.setTaskPolicy([&](const ParamMap &map) {
        asked = map.value("fileName"_s);
        return "Busy"_s;
    });
    m_server.handOn(taskParam, writeParamText({{"fileName"_s, "f"_s}}));
    ASSERT_TRUE(m_server.recv(taskParam, m_text));
    EXPECT_FALSE(m_server.setParams(VeskBase::unSerializeParam(m_text)));
    EXPECT_EQ(asked, "f"_s);
}

} // namespace
