#include "tests/listing/support/list_server.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>

using namespace VESK;
using namespace VESK::Test;

namespace
{

using ListNames = ListServerTest;

TEST_F(ListNames, AreRelativeToTheListedDirectory)
{
    write("d/x");
    write("d/sub/x");
    write("d/sub/deeper/y");
    write("outside");
    const ParamMap expected{{"/x", "file"},
                            {"/sub", "dir"},
                            {"/sub/x", "file"},
                            {"/sub/deeper", "dir"},
                            {"/sub/deeper/y", "file"}};
    EXPECT_EQ(listingOf("d"), expected);
}

TEST_F(ListNames, AreTheSameHoweverTheDirectoryIsWritten)
{
    write("d/x");
    for (const char *srcPath : {"d", "/d", "d/", "//d//", "d/.", "./d"}) {
        SCOPED_TRACE(srcPath);
        EXPECT_EQ(listingOf(srcPath), (ParamMap{{"/x", "file"}}));
    }
    set("mountPath", dir.path("mount") + "//");
    set("appPath", "app:/area/");
    EXPECT_EQ(listingOf("d"), (ParamMap{{"/x", "file"}}));
}

TEST_F(ListNames, AnEmptySourceMeansTheRootItself)
{
    write("x");
    EXPECT_EQ(listingOf(""), (ParamMap{{"/x", "file"}}));
    EXPECT_EQ(logged(), QStringList{"info|listRespond: " + dir.path("mount/area/root") + " ..."});
}

TEST_F(ListNames, LeaveOutWhatIsHiddenAndAllBelow)
{
    write("d/shown");
    write("d/.hidden");
    write("d/.dir/file");
    write("d/.dir/dir/file");
    write("d/sub/.hidden");
    EXPECT_EQ(listingOf("d"), (ParamMap{{"/shown", "file"}, {"/sub", "dir"}}));
}

TEST_F(ListNames, LeaveOutPartialFiles)
{
    write("d/file");
    const QString temporary = handler().generateTmpFilePath(storedPath("d/file"));
    ASSERT_TRUE(dir.write(stored("d/") + temporary.section('/', -1), "part"));
    EXPECT_EQ(listingOf("d"), (ParamMap{{"/file", "file"}}));
}

TEST_F(ListNames, LeaveOutWhatIsNeitherFileNorDirectory)
{
    write("d/file");
    link("nowhere", "d/broken");
    link("round", "d/round"); // to itself
    ASSERT_EQ(::mkfifo(storedPath("d/fifo").toUtf8().constData(), 0600), 0);

    const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray path = storedPath("d/socket").toUtf8();
    ASSERT_LT(static_cast<size_t>(path.size()), sizeof address.sun_path);
    std::memcpy(address.sun_path, path.constData(), static_cast<size_t>(path.size()));
    ASSERT_EQ(::bind(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    ::close(socket);

    EXPECT_EQ(listingOf("d"), (ParamMap{{"/file", "file"}}));
}

TEST_F(ListNames, MayHoldEveryCharacter)
{
    const QString names[] = {QStringLiteral("äöü"),
                             QStringLiteral("日本語"),
                             QStringLiteral("a\u0308"), // composed of two
                             QString::fromUcs4(U"\U0001F600", 1),
                             QStringLiteral("a=b"),
                             QStringLiteral("a\nb"),
                             QStringLiteral("a\\b \\u0041"),
                             QStringLiteral("%1 %2"),
                             QStringLiteral(" leading and trailing "),
                             QStringLiteral("\uFEFFmark"),
                             QStringLiteral("\u0001\u007F\u0085\u2028"),
                             QStringLiteral("bLast"),
                             QStringLiteral("vpm1 3"),
                             QString(80, QChar(0x6F22))};
    ParamMap expected;
    for (const QString &name : names) {
        write("d/" + name + "/" + name);
        expected.insert("/" + name, "dir");
        expected.insert("/" + name + "/" + name, "file");
    }
    EXPECT_EQ(listingOf("d"), expected);
}

TEST_F(ListNames, MayStandBelowADirectoryOfAnyName)
{
    const QString name = QStringLiteral("ä %1\n=日本");
    write(name + "/x");
    EXPECT_EQ(listingOf(name), (ParamMap{{"/x", "file"}}));
    EXPECT_EQ(logged(), QStringList{"info|listRespond: " + storedPath(name) + " ..."});
}

TEST_F(ListNames, LeaveOutWhatIsNoText)
{
    write("d/file");
    const QByteArray base = storedPath("d/").toUtf8();
    ASSERT_EQ(::mkdir((base + "\xff\xfe").constData(), 0700), 0);
    ASSERT_EQ(::mkdir((base + "\xff\xfe/inner").constData(), 0700), 0);
    ASSERT_EQ(::symlink("file", (base + "caf\xe9").constData()), 0);
    ASSERT_EQ(::symlink("file", (base + "\xed\xa0\x80").constData()), 0); // half of a surrogate pair
    EXPECT_EQ(listingOf("d"), (ParamMap{{"/file", "file"}}));
    // The directory of the test is removed by name, and these have none.
    ::rmdir((base + "\xff\xfe/inner").constData());
    ::rmdir((base + "\xff\xfe").constData());
    ::unlink((base + "caf\xe9").constData());
    ::unlink((base + "\xed\xa0\x80").constData());
}

TEST_F(ListNames, ReachTwoHundredLevelsDown)
{
    QString name = "d";
    ParamMap expected;
    for (int i = 0; i < 200; ++i) {
        name += "/level";
        expected.insert(name.mid(1), "dir");
    }
    write(name + "/file");
    expected.insert(name.mid(1) + "/file", "file");
    EXPECT_EQ(listingOf("d"), expected);
}

TEST_F(ListNames, AFileIsListedAsAnEmptyDirectory)
{
    write("file");
    EXPECT_EQ(batchesOf("file"), (QList<ParamMap>{{{"bLast", "true"}}}));
}

TEST_F(ListNames, AnUnreadableDirectoryIsNamedButEmpty)
{
    ASSERT_EQ(::chmod(dir.path().toUtf8().constData(), 0755), 0);
    write("d/closed/secret");
    write("d/open/file");
    ASSERT_EQ(::chmod(storedPath("d/closed").toUtf8().constData(), 0), 0);
    const RunningTask task = startAsOrdinaryUser();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, taskFor("d")));
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParamAck));
    const ParamMap expected{{"/closed", "dir"}, {"/open", "dir"}, {"/open/file", "file"}, {"bLast", "true"}};
    EXPECT_EQ(peer.recvMap(MessageKind::ListContent), expected);
    EXPECT_EQ(task.result(), true);
    ASSERT_EQ(::chmod(storedPath("d/closed").toUtf8().constData(), 0700), 0);
}

} // namespace
