#include "tests/listing/support/list_server.h"

#include <atomic>
#include <future>

using namespace VESK;
using namespace VESK::Test;

namespace
{

class ListRespond : public ListServerTest
{
protected:
    void expectSilentFailure(const ParamMap &task, const QStringList &lines)
    {
        const RunningTask running = start();
        ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, task));
        EXPECT_EQ(running.result(), false);
        EXPECT_EQ(logged(), lines);
        EXPECT_EQ(param("respondStatus"), "failed");
        EXPECT_FALSE(handler().hasSent(MessageKind::TaskParamAck));
        EXPECT_TRUE(nothingElseCame(handler(), peer));
    }

    QString announced(const QString &name) const { return "info|listRespond: " + storedPath(name) + " ..."; }
};

TEST_F(ListRespond, ReportsAnUnknownApplication)
{
    set("appPath", "");
    expectSilentFailure(taskFor("d"), {"error|listRespond: get path of app [app] failed."});
}

TEST_F(ListRespond, ReportsAMissingDirectoryWithoutAnAnswer)
{
    expectSilentFailure(
        taskFor("d %1"),
        {announced("d %1"), "error|listRespond: dir " + storedPath("d %1") + " is not exist."});
}

TEST_F(ListRespond, TakesALinkThatLeadsNowhereForMissing)
{
    link("nowhere", "d");
    expectSilentFailure(taskFor("d"),
                        {announced("d"), "error|listRespond: dir " + storedPath("d") + " is not exist."});
}

TEST_F(ListRespond, RefusesToListOutside)
{
    expectSilentFailure(taskFor("../.."), {"error|respond: TaskParam setParams failed."});
}

// A host may store under one of Qt's search paths, whose entries answer by the names of the directories
// behind.
TEST_F(ListRespond, ReportsEntriesThatLieOutsideTheListedDirectory)
{
    QDir::setSearchPaths("storage", {dir.path("mount")});
    set("mountPath", "storage:");
    write("d/file");
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskFor("d")));
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParamAck));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(),
              (QStringList{"info|listRespond: storage:/area/root/d ...",
                           "error|listRespond: get ListContent failed."}));
    EXPECT_EQ(param("respondStatus"), "failed");
    EXPECT_TRUE(nothingElseCame(handler(), peer)) << "the batch in hand is not sent";
    QDir::setSearchPaths("storage", {});
}

TEST_F(ListRespond, ReportsAnAnswerThatCannotBeSent)
{
    mkdir("d");
    auto &staged = useHandler<StagedHandler>();
    staged.beforeSend = [](int kind) { return kind != number(MessageKind::TaskParamAck); };
    expectSilentFailure(taskFor("d"), {announced("d"), "error|listRespond: send TaskParamAck failed."});
}

TEST_F(ListRespond, ReportsEachBatchThatCannotBeSent)
{
    writeFiles("d", 201); // three messages
    for (int failing = 1; failing <= 3; ++failing) {
        SCOPED_TRACE(failing);
        int sent = 0;
        const int before = log.lines().size();
        auto &staged = useHandler<StagedHandler>();
        staged.beforeSend = [&](int kind) {
            return kind != number(MessageKind::ListContent) || ++sent != failing;
        };
        const RunningTask task = start();
        ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskFor("d")));
        ASSERT_TRUE(peer.recvMap(MessageKind::TaskParamAck));
        for (int i = 1; i < failing; ++i)
            EXPECT_TRUE(peer.recvMap(MessageKind::ListContent));
        EXPECT_EQ(task.result(), false);
        EXPECT_EQ(log.lines().mid(before),
                  (QStringList{announced("d"), "error|listRespond: send ListContent failed."}));
        EXPECT_EQ(param("respondStatus"), "failed");
        EXPECT_EQ(sent, failing);
        EXPECT_TRUE(nothingElseCame(handler(), peer));
    }
}

TEST_F(ListRespond, ReportsAClientThatLeaves)
{
    writeFiles("d", 201);
    auto &staged = useHandler<StagedHandler>();
    std::promise<void> left;
    std::once_flag once;
    staged.afterSend = [&](int kind) {
        if (kind == number(MessageKind::ListContent))
            std::call_once(once, [&] { left.get_future().wait(); });
    };
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskFor("d")));
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParamAck));
    ASSERT_TRUE(peer.recvMap(MessageKind::ListContent));
    closePeerSocket();
    EXPECT_TRUE(eventually([&] { return UDT::getsockstate(handlerSocket()) != CONNECTED; }));
    left.set_value();
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), (QStringList{announced("d"), "error|listRespond: send ListContent failed."}));
}

TEST_F(ListRespond, NamesEntriesOfTheRootOfTheFileSystemWithOneSeparator)
{
    set("mountPath", "/");
    set("appPath", "app:/");
    ParamMap all = taskFor("");
    all.insert("rootPath", "");
    auto &staged = useHandler<StagedHandler>();
    staged.beforeSend = [&](int kind) {
        if (kind == number(MessageKind::ListContent))
            staged.setStatus("cancel"); // one batch is enough
        return true;
    };
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, all));
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParamAck));
    const std::optional<ParamMap> batch = peer.recvMap(MessageKind::ListContent);
    ASSERT_TRUE(batch);
    EXPECT_EQ(batch->value("/tmp"), "dir");
    EXPECT_EQ(batch->value("/proc"), "dir");
    closePeerSocket();
    closeHandlerSocket();
    EXPECT_EQ(task.result(), false);
}

TEST_F(ListRespond, SendsNoNamesAfterAStopThatCameWithTheAnswer)
{
    writeFiles("d", 250); // more than a message holds
    auto &staged = useHandler<StagedHandler>();
    staged.afterSend = [&](int) { staged.setStatus("cancel"); };
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskFor("d")));
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParamAck));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler().getLastError(), "cancel");
    EXPECT_EQ(param("respondStatus"), "");
    EXPECT_EQ(logged(), QStringList{announced("d")});
    EXPECT_FALSE(handler().hasSent(MessageKind::ListContent));
}

TEST_F(ListRespond, LooksForAStopAfterEachDirectory)
{
    writeFiles("d", 250);
    writeFiles("d/sub", 250);
    auto &staged = useHandler<StagedHandler>();
    int sent = 0;
    staged.afterSend = [&](int kind) {
        if (kind == number(MessageKind::ListContent) && ++sent == 1)
            staged.setStatus("pause");
    };
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskFor("d")));
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParamAck));
    ASSERT_TRUE(peer.recvMap(MessageKind::ListContent));
    ASSERT_TRUE(peer.recvMap(MessageKind::ListContent));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(sent, 2) << "the first directory is finished, the second not begun";
    EXPECT_EQ(handler().getLastError(), "pause");
    EXPECT_EQ(param("respondStatus"), "");
    EXPECT_EQ(logged(), QStringList{announced("d")});
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(ListRespond, LooksForAStopBeforeTheLastMessage)
{
    writeFiles("d", 100);
    auto &staged = useHandler<StagedHandler>();
    staged.afterSend = [&](int kind) {
        if (kind == number(MessageKind::ListContent))
            staged.setStatus("pause");
    };
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskFor("d")));
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParamAck));
    EXPECT_EQ(peer.recvMap(MessageKind::ListContent).value_or(ParamMap()).value("bLast"), "false");
    EXPECT_EQ(task.result(), false);
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(ListRespond, EndsAtOnceWhenPausedWhileTheClientDoesNotRead)
{
    // Links multiply a small tree: every level is reached by four ways, which gives 4^10 directories.
    for (int level = 0; level < 10; ++level) {
        mkdir("t" + QString::number(level));
        for (int way = 0; way < 4; ++way)
            link("../t" + QString::number(level + 1),
                 "t" + QString::number(level) + "/way" + QString::number(way));
    }
    mkdir("t10");
    auto &staged = useHandler<StagedHandler>();
    std::atomic<int> sent{0};
    staged.afterSend = [&](int) { ++sent; };
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskFor("t0")));
    ASSERT_TRUE(eventually([&] { return sent > 20; }));
    EXPECT_TRUE(handler().pause());
    EXPECT_EQ(task.result(stopLimit), false);
    EXPECT_EQ(handler().getLastError(), "pause");
    const QStringList stoppedBetween{announced("t0")};
    const QStringList stoppedInAMessage{announced("t0"), "error|listRespond: send ListContent failed."};
    EXPECT_THAT(logged(), testing::AnyOf(stoppedBetween, stoppedInAMessage));
}

} // namespace
