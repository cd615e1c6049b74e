#include "tests/listing/support/staged_handler.h"
#include "tests/operation/support/operation_test.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QThread>
#include <QtCore/QtEndian>

#include <atomic>
#include <cstdio>

using namespace VESK;
using namespace VESK::Test;

namespace
{

class ListRequest : public ClientTest
{
protected:
    ListRequest()
        : ClientTest("list")
    {
        set("srcPath", "a/b");
        collect();
    }

    /// Collects what the present handler emits; to be read when the task has ended.
    void collect()
    {
        emitted.clear();
        QObject::connect(&handler(), &VeskBase::sigList, [this](const ParamMap &batch) { emitted += batch; });
    }

    void accept()
    {
        ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
        ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, {{"ackRespond", "true"}}));
    }

    [[nodiscard]] bool sendBatch(const ParamMap &batch)
    {
        return peer.sendMap(MessageKind::ListContent, batch);
    }

    QList<ParamMap> emitted;
};

const ParamMap lastBatch{{"bLast", "true"}};

TEST_F(ListRequest, SendsItsSixKeys)
{
    const RunningTask task = start();
    const ParamMap expected{{"operator", "list"}, {"srcPath", "a/b"}, {"rootPath", "root"},
                            {"userName", "user"}, {"appKey", "app"},  {"appVersion", "1.0"}};
    EXPECT_EQ(peer.recvMap(MessageKind::TaskParam), expected);
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, {{"ackRespond", "true"}}));
    ASSERT_TRUE(sendBatch(lastBatch));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(logged(), QStringList());
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(ListRequest, HandsOutEachBatchWithoutItsMark)
{
    const RunningTask task = start();
    accept();
    ASSERT_TRUE(sendBatch({{"bLast", "false"}, {"/a", "dir"}, {"/b", "file"}}));
    ASSERT_TRUE(sendBatch({{"/a/c=\n", "file"}}));
    ASSERT_TRUE(sendBatch({{"/ä", "file"}, {"bLast", "true"}}));
    EXPECT_EQ(task.result(), true);
    const QList<ParamMap> expected{{{"/a", "dir"}, {"/b", "file"}}, {{"/a/c=\n", "file"}}, {{"/ä", "file"}}};
    EXPECT_EQ(emitted, expected);
}

TEST_F(ListRequest, HandsOutAnEmptyLastBatchToo)
{
    const RunningTask task = start();
    accept();
    ASSERT_TRUE(sendBatch({{"/a", "file"}}));
    ASSERT_TRUE(sendBatch(lastBatch));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(emitted, (QList<ParamMap>{{{"/a", "file"}}, {}}));
}

TEST_F(ListRequest, GoesOnUntilTheMarkIsExactlyTrue)
{
    const RunningTask task = start();
    accept();
    for (const char *mark : {"false", "", "True", "true ", "1"})
        ASSERT_TRUE(sendBatch({{"bLast", mark}}));
    ASSERT_TRUE(sendBatch({{"blast", "true"}}));
    ASSERT_TRUE(sendBatch(lastBatch));
    EXPECT_EQ(task.result(), true);
    const QList<ParamMap> expected{{}, {}, {}, {}, {}, {{"blast", "true"}}, {}};
    EXPECT_EQ(emitted, expected);
}

TEST_F(ListRequest, TakesAMalformedBatchForAnEmptyOneThatIsNotTheLast)
{
    const RunningTask task = start();
    accept();
    for (const char *text : {"", "bLast=true", "vpm1 9\nbLast=true\n", "{\"bLast\":\"true\"}"})
        ASSERT_TRUE(peer.send(number(MessageKind::ListContent), text));
    ASSERT_TRUE(sendBatch({{"/a", "file"}, {"bLast", "true"}}));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(emitted, (QList<ParamMap>{{}, {}, {}, {}, {{"/a", "file"}}}));
    EXPECT_EQ(logged(), QStringList());
}

TEST_F(ListRequest, LeavesHostileNamesToTheHostAndTouchesNothing)
{
    ASSERT_TRUE(dir.write("local/kept", "x"));
    const RunningTask task = start();
    accept();
    const ParamMap hostile{{"/../../x", "file"}, {"..", "dir"}, {"", "file"}, {dir.path("y"), "dir"}};
    ASSERT_TRUE(sendBatch(hostile));
    ASSERT_TRUE(sendBatch(lastBatch));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(emitted, (QList<ParamMap>{hostile, {}}));
    EXPECT_EQ(dir.entries(), (QStringList{"local/", "local/kept"}));
}

TEST_F(ListRequest, ReportsARefusalAndHandsOutNothing)
{
    const RunningTask task = start();
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    ASSERT_TRUE(
        peer.sendMap(MessageKind::TaskParamAck, {{"ackRespond", "false"}, {"errorType", "NoRights"}}));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), QStringList{"error|listRequest: TaskParam Nak."});
    EXPECT_EQ(handler().getLastError(), "NoRights");
    EXPECT_EQ(emitted, QList<ParamMap>());
}

TEST_F(ListRequest, ReportsEveryOtherFailureOfTheHandshake)
{
    useHandler<TightLippedHandler>();
    EXPECT_FALSE(handler().process());
    const QStringList dumped{"error|listRequest: getParams failed.",
                             "error|listRequest: params ====\noperator:[list] srcPath:[a/b] rootPath:[root] "
                             "userName:[user] appKey:[app] appVersion:[1.0] "};
    EXPECT_EQ(log.lines(), dumped);

    auto &staged = useHandler<StagedHandler>();
    staged.beforeRecv = [](int) { return false; };
    EXPECT_FALSE(handler().process());
    EXPECT_EQ(log.lines().mid(2), QStringList{"error|listRequest: recv TaskParamAck failed."});

    closeHandlerSocket();
    EXPECT_FALSE(handler().process());
    EXPECT_EQ(log.lines().mid(3), QStringList{"error|listRequest: send TaskParam failed."});
}

TEST_F(ListRequest, KeepsWhatCameBeforeTheServerLeft)
{
    std::atomic<int> received{0};
    QObject::connect(&handler(), &VeskBase::sigList, [&] { ++received; });
    const RunningTask task = start();
    accept();
    ASSERT_TRUE(sendBatch({{"/a", "file"}, {"bLast", "false"}}));
    ASSERT_TRUE(eventually([&] { return received == 1; }));
    closePeerSocket();
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), QStringList{"error|listRequest: recv ListContent failed."});
    EXPECT_EQ(emitted, (QList<ParamMap>{{{"/a", "file"}}}));
}

TEST_F(ListRequest, ReportsAMessageOfAnotherKind)
{
    const RunningTask task = start();
    accept();
    ASSERT_TRUE(peer.sendMap(MessageKind::Closing, lastBatch));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(logged(), QStringList{"error|listRequest: recv ListContent failed."});
    EXPECT_EQ(emitted, QList<ParamMap>());
}

QByteArray frameHeader(quint32 magic, quint32 kind, quint32 length)
{
    QByteArray header(12, '\0');
    qToBigEndian(magic, header.data());
    qToBigEndian(kind, header.data() + 4);
    qToBigEndian(length, header.data() + 8);
    return header;
}

TEST_F(ListRequest, ReportsAFrameThatIsNone)
{
    constexpr quint32 magic = 0x5645534B;
    const QByteArray bytes[] = {frameHeader(magic, 9, (32U << 20) + 1), frameHeader(magic, 9, 0xFFFFFFFF),
                                frameHeader(magic + 1, 9, 0), frameHeader(magic, 9, 1) + "\xff"};
    for (const QByteArray &frame : bytes) {
        SCOPED_TRACE(frame.toHex().toStdString());
        UdtPair fresh;
        ScriptedPeer server(fresh.server(), "server");
        const int before = log.lines().size();
        useHandler<VeskHandler2_0_0>();
        set("clientSocket", QString::number(fresh.client()));
        const RunningTask task(handler(), fresh);
        ASSERT_TRUE(server.recvMap(MessageKind::TaskParam));
        ASSERT_TRUE(server.sendMap(MessageKind::TaskParamAck, {{"ackRespond", "true"}}));
        ASSERT_TRUE(server.sendBytes(frame));
        EXPECT_EQ(task.result(), false);
        EXPECT_EQ(log.lines().mid(before), QStringList{"error|listRequest: recv ListContent failed."});
    }
}

TEST_F(ListRequest, DeliversBatchesToAnotherThreadsEventLoop)
{
    QList<ParamMap> queued;
    const QObject receiver;
    QObject::connect(
        &handler(), &VeskBase::sigList, &receiver,
        [&](const ParamMap &batch) {
            EXPECT_EQ(QThread::currentThread(), receiver.thread());
            queued += batch;
        },
        Qt::QueuedConnection);
    const RunningTask task = start();
    accept();
    ASSERT_TRUE(sendBatch({{"/a", "file"}}));
    ASSERT_TRUE(sendBatch(lastBatch));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(queued, QList<ParamMap>());
    ASSERT_TRUE(eventually([&] {
        QCoreApplication::processEvents();
        return queued.size() == 2;
    }));
    EXPECT_EQ(queued, (QList<ParamMap>{{{"/a", "file"}}, {}}));
}

TEST_F(ListRequest, CanBeConnectedToByText)
{
    EXPECT_GE(handler().metaObject()->indexOfSignal("sigList(QMap<QString,QString>)"), 0);
}

TEST_F(ListRequest, LooksForAStopBeforeEveryBatch)
{
    auto &staged = useHandler<StagedHandler>();
    collect();
    int received = 0;
    staged.afterRecv = [&](int kind) {
        if (kind == number(MessageKind::ListContent) && ++received == 2)
            staged.setStatus("cancel");
    };
    const RunningTask task = start();
    accept();
    for (const char *name : {"/a", "/b", "/c"})
        ASSERT_TRUE(sendBatch({{name, "file"}}));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler().getLastError(), "cancel");
    EXPECT_EQ(logged(), QStringList());
    EXPECT_EQ(emitted, (QList<ParamMap>{{{"/a", "file"}}, {{"/b", "file"}}}));
}

TEST_F(ListRequest, AStopAfterTheAcceptanceReceivesNothing)
{
    auto &staged = useHandler<StagedHandler>();
    collect();
    staged.afterRecv = [&](int) { staged.setStatus("pause"); };
    const RunningTask task = start();
    accept();
    ASSERT_TRUE(sendBatch(lastBatch));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler().getLastError(), "pause");
    EXPECT_EQ(logged(), QStringList());
    EXPECT_EQ(emitted, QList<ParamMap>());
}

TEST_F(ListRequest, EndsSoonAfterAPauseWhileItWaits)
{
    std::atomic<bool> waiting{false};
    auto &staged = useHandler<StagedHandler>();
    staged.beforeRecv = [&](int kind) {
        waiting = kind == number(MessageKind::ListContent);
        return true;
    };
    const RunningTask task = start();
    accept();
    ASSERT_TRUE(eventually([&] { return waiting.load(); }));
    EXPECT_TRUE(handler().pause());
    EXPECT_EQ(task.result(stopBetweenMessages), false);
    EXPECT_EQ(handler().getLastError(), "pause");
    EXPECT_EQ(logged(), QStringList{"error|listRequest: recv ListContent failed."});
}

/// The resident memory of this process in bytes.
long residentMemory()
{
    long pages = 0;
    long resident = 0;
    std::FILE *const file = std::fopen("/proc/self/statm", "r");
    if (file == nullptr || std::fscanf(file, "%ld %ld", &pages, &resident) != 2)
        ADD_FAILURE() << "no memory figures";
    if (file != nullptr)
        std::fclose(file);
    return resident * 4096;
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool memoryMeansSomething = false; // a sanitizer keeps what was freed
#else
constexpr bool memoryMeansSomething = true;
#endif

TEST_F(ListRequest, AnEndlessListingEndsWithAPauseAndCostsNoMemory)
{
    useHandler<VeskHandler2_0_0>();
    std::atomic<int> received{0};
    QObject::connect(&handler(), &VeskBase::sigList, [&] { ++received; });
    ParamMap batch;
    for (int i = 0; i < 101; ++i)
        batch.insert("/name" + QString::number(i), "file");
    const QString text = VeskBase::serializeParam(batch);

    const RunningTask task = start();
    accept();
    std::atomic<bool> stopped{false};
    const Background server([&] {
        // Always ahead, but never by so much that the transport's buffers grow.
        for (int sent = 0; !stopped; ++sent) {
            if (!eventually([&] { return stopped || sent < received + 50; })
                || !peer.send(number(MessageKind::ListContent), text))
                return;
        }
    });
    EXPECT_TRUE(eventually([&] { return received >= 100; }));
    const long before = residentMemory();
    EXPECT_TRUE(eventually([&] { return received >= 2100; }));
    if (memoryMeansSomething) {
        EXPECT_LT(residentMemory() - before, 6L << 20) << "2000 batches kept would be 32 MB";
    }

    EXPECT_TRUE(handler().pause());
    EXPECT_EQ(task.result(stopLimit), false);
    stopped = true;
    closeHandlerSocket();
    EXPECT_EQ(handler().getLastError(), "pause");
    const QStringList stoppedInAMessage{"error|listRequest: recv ListContent failed."};
    EXPECT_THAT(logged(), testing::AnyOf(QStringList(), stoppedInAMessage));
}

} // namespace
