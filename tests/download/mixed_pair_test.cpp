#include "tests/download/support/transfer_pair.h"

#include <QtCore/QDateTime>
#include <QtCore/QFileInfo>

#include <sys/stat.h>

using namespace VESK;
using namespace VESK::Test;

namespace
{

using MixedPair = TransferPairTest;

TEST_F(MixedPair, AllFourOperationsShareAConnectionThatTheClientEnds)
{
    const QByteArray content = pattern(400000);
    ASSERT_TRUE(dir.write(local("up/file"), content));
    startServer();
    for (int round = 0; round < 3; ++round) {
        const QString box = "box/round" + QString::number(round);
        EXPECT_TRUE(run("createDir", {{"destPath", box + "/empty"}}).succeeded);
        EXPECT_TRUE(run("upload",
                        {{"srcPath", dir.path(local("up"))},
                         {"fileName", "file"},
                         {"destPath", box},
                         {"bVerify", "md5"}})
                        .succeeded);
        listed.clear();
        EXPECT_TRUE(run("list", {{"srcPath", box}}).succeeded);
        EXPECT_EQ(listed, (ParamMap{{"/empty", "dir"}, {"/file", "file"}}));
        EXPECT_TRUE(run("download",
                        {{"srcPath", box},
                         {"fileName", "file"},
                         {"destPath", dir.path(local("down" + QString::number(round)))},
                         {"bVerify", "fileattr"}})
                        .succeeded);
        EXPECT_EQ(dir.read(local("down" + QString::number(round) + "/file")), content);
    }

    const std::vector<Outcome> served = endExchange();
    ASSERT_EQ(served.size(), 13U);
    for (size_t i = 0; i < 12; ++i) {
        EXPECT_TRUE(served[i].succeeded) << i;
        EXPECT_EQ(served[i].params.value("respondStatus"), "success") << i;
    }
    EXPECT_FALSE(served[12].succeeded);
    EXPECT_EQ(served[12].lastError, "return");
    EXPECT_EQ(served[12].params.value("respondStatus"), "");
    EXPECT_EQ(log.lines().filter("error|"), QStringList());
}

struct TreeFile {
    QString directory; // relative, without a separator at either end
    QString name;
    QByteArray content;
    qint64 mtime; // seconds since 1970
};

/// Files of many sizes and times at several depths.
std::vector<TreeFile> makeTree(int count)
{
    std::vector<TreeFile> files;
    for (int i = 0; i < count; ++i) {
        QString directory = "d" + QString::number(i % 7);
        if (i % 3 == 0)
            directory += QStringLiteral("/unter Ordner");
        if (i % 5 == 0)
            directory += "/x/y=z";
        const QString name = "file " + QString::number(i) + (i % 2 == 0 ? ".bin" : QString::fromUtf8("ä%1"));
        files.push_back(
            {directory, name, pattern(i * i % 9001, static_cast<quint64>(i)), 900000000 + i * 86399});
    }
    return files;
}

TEST_F(MixedPair, ATreeComesBackAsItWentUp)
{
    const std::vector<TreeFile> files = makeTree(250);
    for (const TreeFile &file : files) {
        const QString name = local("up/" + file.directory + '/' + file.name);
        ASSERT_TRUE(dir.write(name, file.content));
        VeskHandler2_0_0().UpdateMtime(dir.path(name), "setup", file.mtime);
    }
    startServer();
    for (const TreeFile &file : files) {
        ASSERT_TRUE(run("upload",
                        {{"srcPath", dir.path(local("up/" + file.directory))},
                         {"fileName", file.name},
                         {"destPath", "tree/" + file.directory}})
                        .succeeded)
            << file.name.toStdString();
    }

    ASSERT_TRUE(run("list", {{"srcPath", "tree"}}).succeeded);
    int names = 0;
    for (auto entry = listed.cbegin(); entry != listed.cend(); ++entry) {
        if (entry.value() != "file")
            continue;
        ++names;
        const QString directory = entry.key().section('/', 1, -2);
        ASSERT_TRUE(run("download",
                        {{"srcPath", "tree/" + directory},
                         {"fileName", entry.key().section('/', -1)},
                         {"destPath", dir.path(local("down/" + directory))},
                         {"bVerify", "md5"}})
                        .succeeded)
            << entry.key().toStdString();
    }
    EXPECT_EQ(names, static_cast<int>(files.size()));

    for (const TreeFile &file : files) {
        const QString name = local("down/" + file.directory + '/' + file.name);
        EXPECT_EQ(dir.read(name), file.content) << name.toStdString();
        EXPECT_EQ(QFileInfo(dir.path(name)).lastModified().toSecsSinceEpoch(), file.mtime)
            << name.toStdString();
    }
    EXPECT_EQ(dir.entries().filter("vsktmp"), QStringList());
    const std::vector<Outcome> served = endExchange();
    EXPECT_EQ(served.size(), 2 * files.size() + 2);
    EXPECT_EQ(log.lines().filter("error|"), QStringList());
}

TEST_F(MixedPair, AClientThatJustLeavesEndsTheServersLoop)
{
    startServer();
    EXPECT_TRUE(run("createDir", {{"destPath", "a"}}).succeeded);
    pair.closeClient();
    EXPECT_TRUE(dir.exists("mount/area/root/a"));
    EXPECT_TRUE(eventually([&] { return log.lines().contains("error|respond: recv TaskParam failed."); }));
}

} // namespace
