#include "tests/listing/support/list_server.h"

#include <algorithm>

// In which order a listing names what it finds, and where it and the creation of a directory look for a stop.

using namespace VESK;
using namespace VESK::Test;

namespace
{

/// The names in a directory, in the order in which it is read.
QStringList namesIn(const QString &directory)
{
    QStringList names;
    const QDir::Filters all = QDir::AllEntries | QDir::NoDotAndDotDot;
    for (const QFileInfo &entry : QDir(directory).entryInfoList(all, QDir::NoSort))
        names << '/' + entry.fileName();
    return names;
}

QSet<QString> asSet(const QStringList &names)
{
    return QSet<QString>(names.begin(), names.end());
}

using ListOrder = ListServerTest;

TEST_F(ListOrder, IsThatInWhichADirectoryIsRead)
{
    writeFiles("d", 150);
    for (int i = 0; i < 100; ++i) // whose case tells orders of names apart
        ASSERT_TRUE(QFile::link("file0", storedPath("d/File" + QString::number(i) + 'x')));
    const QStringList names = namesIn(storedPath("d"));
    QList<ParamMap> batches = batchesOf("d");
    ASSERT_EQ(batches.size(), 3);
    for (ParamMap &batch : batches)
        batch.remove("bLast");
    EXPECT_EQ(asSet(batches[0].keys()), asSet(names.mid(0, 100)));
    EXPECT_EQ(asSet(batches[1].keys()), asSet(names.mid(100, 101)));
    EXPECT_EQ(asSet(batches[2].keys()), asSet(names.mid(201)));
}

TEST_F(ListOrder, OfSubdirectoriesIsThatInWhichTheyWereFound)
{
    for (const char *name : {"a", "b", "c", "d", "e", "f"})
        writeFiles(QString("top/") + name, 210); // more than two messages hold
    const QStringList found = namesIn(storedPath("top"));

    QMap<QString, int> lastMessage; // that names something in the directory
    const QList<ParamMap> batches = batchesOf("top");
    for (int i = 0; i < batches.size(); ++i)
        for (const QString &name : batches[i].keys())
            if (name.count('/') == 2)
                lastMessage.insert(name.section('/', 0, 1), i);
    QStringList visited = lastMessage.keys();
    std::sort(visited.begin(), visited.end(),
              [&](const QString &a, const QString &b) { return lastMessage[a] < lastMessage[b]; });
    EXPECT_EQ(visited, found);
}

TEST_F(ListOrder, AStoppedServerStillAcceptsAndThenNamesNothing)
{
    write("d/file");
    handler().setStatus("pause");
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskFor("d")));
    EXPECT_EQ(peer.recvMap(MessageKind::TaskParamAck), (ParamMap{{"ackRespond", "true"}}));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler().getLastError(), "pause");
    EXPECT_EQ(param("respondStatus"), "");
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(ListOrder, AStopComesTooLateForTheLastMessage)
{
    write("d/file");
    auto &staged = useHandler<StagedHandler>();
    staged.afterSend = [&](int kind) {
        if (kind == number(MessageKind::ListContent))
            staged.setStatus("pause");
    };
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskFor("d")));
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParamAck));
    ASSERT_TRUE(peer.recvMap(MessageKind::ListContent));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler().getLastError(), "pause");
    EXPECT_EQ(param("respondStatus"), "success");
}

TEST_F(ListOrder, AStoppedServerStillCreatesADirectory)
{
    handler().setStatus("cancel");
    ParamMap creation = taskParam("createDir");
    creation.insert("destPath", "a");
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, creation));
    EXPECT_EQ(peer.recvMap(MessageKind::TaskParamAck), (ParamMap{{"ackRespond", "true"}}));
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler().getLastError(), "cancel");
    EXPECT_EQ(param("respondStatus"), "success");
    EXPECT_TRUE(dir.exists(stored("a")));
}

class ClientOrder : public ClientTest
{
protected:
    ClientOrder()
        : ClientTest("list")
    {
    }

    void accept()
    {
        ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
        ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck, {{"ackRespond", "true"}}));
    }
};

TEST_F(ClientOrder, AStoppedClientStillAsksForItsListing)
{
    handler().setStatus("pause");
    const RunningTask task = start();
    accept();
    EXPECT_EQ(task.result(), false);
    EXPECT_EQ(handler().getLastError(), "pause");
    EXPECT_EQ(logged(), QStringList());
}

TEST_F(ClientOrder, AStopComesTooLateForTheLastBatch)
{
    auto &staged = useHandler<StagedHandler>();
    staged.afterRecv = [&](int kind) {
        if (kind == number(MessageKind::ListContent))
            staged.setStatus("pause");
    };
    const Background task([&] { return staged.listRequest(); });
    accept();
    ASSERT_TRUE(peer.sendMap(MessageKind::ListContent, {{"bLast", "true"}}));
    EXPECT_EQ(task.wait(patience), true);
    EXPECT_EQ(handler().getLastError(), "");
}

TEST_F(ClientOrder, AStoppedClientStillHasItsDirectoryCreated)
{
    set("operator", "createDir");
    handler().setStatus("pause");
    const Background task([&] { return handler().createDirRequest(); });
    accept();
    EXPECT_EQ(task.wait(patience), true);
    EXPECT_EQ(handler().getLastError(), "");
}

} // namespace
