#include "tests/listing/support/staged_handler.h"
#include "tests/operation/support/operation_test.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#include <sys/stat.h>
#include <unistd.h>

using namespace VESK;
using namespace VESK::Test;

namespace
{

constexpr unsigned int nobody = 65534;

class CreateDirRespond : public ServerTest
{
protected:
    ~CreateDirRespond() override { (void)openUp("mount/area/root/a/b/c"); }

    static ParamMap taskFor(const QString &destPath)
    {
        ParamMap map = taskParam("createDir");
        map.insert("destPath", destPath);
        return map;
    }

    /// The modes of `name` and the directories above it, outermost first; each is opened on the way, so
    /// that the next can be looked at, and the directory be removed in the end.
    QList<int> openUp(const QString &name) const
    {
        QList<int> modes;
        QString path = dir.path();
        for (const QString &piece : name.split('/')) {
            path += '/' + piece;
            struct stat status;
            if (::stat(QFile::encodeName(path).constData(), &status) != 0)
                break;
            modes += static_cast<int>(status.st_mode & 07777);
            ::chmod(QFile::encodeName(path).constData(), 0755);
        }
        return modes;
    }

    void makeWith(const QString &name, unsigned int mode, unsigned int owner = 0) const
    {
        ASSERT_TRUE(dir.mkdir(name));
        const QByteArray path = QFile::encodeName(dir.path(name));
        if (::geteuid() == 0) {
            ASSERT_EQ(::chown(path.constData(), owner, owner), 0);
        }
        ASSERT_EQ(::chmod(path.constData(), mode), 0);
    }

    /// Lets other users into the directories above the storage.
    void openTheWay() const
    {
        makeWith("", 0755);
        makeWith("mount", 0755);
        makeWith("mount/area", 0755);
    }

    void expectRefusal(const RunningTask &task, const QString &destPath, const QStringList &lines)
    {
        ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskFor(destPath)));
        EXPECT_EQ(task.result(), false);
        EXPECT_EQ(logged(), lines);
        EXPECT_EQ(param("respondStatus"), "failed");
        EXPECT_FALSE(handler().hasSent(MessageKind::TaskParamAck));
        EXPECT_TRUE(nothingElseCame(handler(), peer));
    }
};

TEST_F(CreateDirRespond, CreatesTheDirectoryBelowAllFourPaths)
{
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskFor("a/b")));
    EXPECT_EQ(peer.recvMap(MessageKind::TaskParamAck), (ParamMap{{"ackRespond", "true"}}));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(logged(), QStringList{"info|createDirRespond: " + storedPath("a/b") + " ..."});
    EXPECT_EQ(param("respondStatus"), "success");
    EXPECT_EQ(openUp(stored("a/b")).mid(2), QList<int>({0750, 0750, 0750}));
    EXPECT_TRUE(nothingElseCame(handler(), peer));
}

TEST_F(CreateDirRespond, JoinsPiecesWithOneSeparator)
{
    set("mountPath", dir.path("mount") + "//");
    set("appPath", "other:x%app:/area/");
    ParamMap params = taskFor("/a//b/");
    params.insert("rootPath", "/root/");
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, params));
    EXPECT_TRUE(peer.recvMap(MessageKind::TaskParamAck));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(logged(), QStringList{"info|createDirRespond: " + storedPath("a/b") + " ..."});
    EXPECT_TRUE(dir.exists(stored("a/b")));
}

TEST_F(CreateDirRespond, AnEmptyDestPathMeansTheRootItself)
{
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskFor("")));
    EXPECT_TRUE(peer.recvMap(MessageKind::TaskParamAck));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(logged(), QStringList{"info|createDirRespond: " + dir.path("mount/area/root") + " ..."});
    EXPECT_EQ(openUp("mount/area/root").value(2), 0750);
}

TEST_F(CreateDirRespond, IsContentWithADirectoryThatIsThere)
{
    ASSERT_TRUE(dir.write(stored("a/kept"), "content"));
    for (int i = 0; i < 2; ++i) {
        const RunningTask task = start();
        ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskFor("a")));
        EXPECT_EQ(peer.recvMap(MessageKind::TaskParamAck), (ParamMap{{"ackRespond", "true"}}));
        EXPECT_EQ(task.result(), true);
    }
    EXPECT_EQ(dir.read(stored("a/kept")), QByteArray("content"));
}

TEST_F(CreateDirRespond, KeepsUnusualNames)
{
    const QString name = QStringLiteral("ä %1\n=日本");
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskFor(name)));
    EXPECT_TRUE(peer.recvMap(MessageKind::TaskParamAck));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(logged(), QStringList{"info|createDirRespond: " + storedPath(name) + " ..."});
    EXPECT_TRUE(dir.exists(stored(name)));
}

struct ModeCase {
    const char *text;
    int mode;
};

void PrintTo(const ModeCase &mode, std::ostream *out)
{
    *out << "'" << mode.text << "'";
}

class CreateDirMode : public CreateDirRespond, public testing::WithParamInterface<ModeCase>
{
};

TEST_P(CreateDirMode, IsAppliedFromTheRootDownAndNowhereElse)
{
    openTheWay();
    makeWith("mount/area/root", 0700);
    makeWith("mount/area/root/beside", 0700);
    set("dirMod", GetParam().text);
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskFor("a/b")));
    EXPECT_TRUE(peer.recvMap(MessageKind::TaskParamAck));
    EXPECT_EQ(task.result(), true);
    const int mode = GetParam().mode;
    EXPECT_EQ(openUp(stored("a/b")), QList<int>({0755, 0755, mode, mode, mode}));
    EXPECT_EQ(openUp(stored("beside")).last(), 0700);
}

// The empty text is the decimal number 777, which is 1411 in octal; what is not octal is 0.
INSTANTIATE_TEST_SUITE_P(Texts, CreateDirMode,
                         testing::Values(ModeCase{"755", 0755}, ModeCase{"0777", 0777}, ModeCase{"777", 0777},
                                         ModeCase{"", 01411}, ModeCase{"2770", 02770}, ModeCase{"9", 0},
                                         ModeCase{"75x", 0}, ModeCase{"rwx", 0}));

TEST_F(CreateDirRespond, AnOrdinaryUserCanLockHimselfOutOfEveryLevel)
{
    openTheWay();
    makeWith("mount/area/root", 0755, nobody);
    set("dirMod", "9");
    const RunningTask task = startAsOrdinaryUser();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskFor("a/b/c")));
    EXPECT_EQ(peer.recvMap(MessageKind::TaskParamAck), (ParamMap{{"ackRespond", "true"}}));
    EXPECT_EQ(task.result(), true) << "the deepest level has to come first";
    EXPECT_EQ(openUp(stored("a/b/c")).mid(2), QList<int>({0, 0, 0, 0}));
}

TEST_F(CreateDirRespond, LeavesLevelsOfOthersAloneThatHaveTheMode)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can make a directory of another user";
    openTheWay();
    makeWith("mount/area/root", 0777);
    makeWith("mount/area/root/mine", 0777, nobody);
    set("dirMod", "777");
    const RunningTask task = startAsOrdinaryUser();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskFor("mine/new")));
    EXPECT_EQ(peer.recvMap(MessageKind::TaskParamAck), (ParamMap{{"ackRespond", "true"}}));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(openUp(stored("mine/new")).last(), 0777);
}

TEST_F(CreateDirRespond, ReportsAModeThatTheSystemRefuses)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can make a directory of another user";
    openTheWay();
    makeWith("mount/area/root", 0777);
    set("dirMod", "755");
    const RunningTask task = startAsOrdinaryUser();
    expectRefusal(task, "new",
                  {"info|createDirRespond: " + storedPath("new") + " ...",
                   "error|createDirRespond: chmodRecursively " + storedPath("new") + " failed."});
    EXPECT_TRUE(dir.exists(stored("new"))) << "what was created stays";
}

TEST_F(CreateDirRespond, ReportsAModeThatIsNone)
{
    set("dirMod", "17777");
    const RunningTask task = start();
    expectRefusal(task, "a",
                  {"info|createDirRespond: " + storedPath("a") + " ...",
                   "error|createDirRespond: chmodRecursively " + storedPath("a") + " failed."});
    EXPECT_TRUE(dir.exists(stored("a")));
}

TEST_F(CreateDirRespond, ReportsAnUnknownApplicationBeforeAnythingElse)
{
    set("appPath", "app:C:/area%other:area");
    const RunningTask task = start();
    expectRefusal(task, "a", {"error|createDirRespond: get path of app [app] failed."});
    EXPECT_FALSE(dir.exists("mount"));
}

TEST_F(CreateDirRespond, ReportsAFileInTheWay)
{
    ASSERT_TRUE(dir.write(stored("a"), "file"));
    const RunningTask task = start();
    expectRefusal(task, "a/b",
                  {"info|createDirRespond: " + storedPath("a/b") + " ...",
                   "error|createDirRespond: mkdir " + storedPath("a/b") + " failed."});
    EXPECT_EQ(dir.read(stored("a")), QByteArray("file"));
}

TEST_F(CreateDirRespond, ReportsAFileInThePlaceOfTheDirectory)
{
    ASSERT_TRUE(dir.write(stored("a"), "file"));
    const RunningTask task = start();
    expectRefusal(task, "a",
                  {"info|createDirRespond: " + storedPath("a") + " ...",
                   "error|createDirRespond: mkdir " + storedPath("a") + " failed."});
}

TEST_F(CreateDirRespond, ReportsAnAnswerThatCannotBeSent)
{
    auto &staged = useHandler<StagedHandler>();
    staged.beforeSend = [](int kind) { return kind != number(MessageKind::TaskParamAck); };
    const RunningTask task = start();
    expectRefusal(task, "a",
                  {"info|createDirRespond: " + storedPath("a") + " ...",
                   "error|createDirRespond: send TaskParamAck failed."});
    EXPECT_TRUE(dir.exists(stored("a")));
}

TEST_F(CreateDirRespond, CreatesNothingOutsideForAHostilePath)
{
    const RunningTask task = start();
    expectRefusal(task, "../../../outside", {"error|respond: TaskParam setParams failed."});
    EXPECT_EQ(dir.entries(), QStringList());
}

} // namespace
