#include "tests/host/program.h"
#include "tests/host/scripted_server.h"
#include "tests/support/temp_dir.h"

#include "vesk_base/message_kind.h"
#include "vesk_base/paths.h"

#include <QtCore/QFile>

#include <gmock/gmock.h>

#include <csignal>
#include <functional>

using namespace VESK::Test;
using VESK::MessageKind;

namespace
{

// A server, local files, and one run of the program.
struct Scene {
    TempDir directory;
    std::unique_ptr<ServerProgram> server;
    QString err;

    Scene()
    {
        EXPECT_TRUE(directory.mkdir("in") && directory.write("f", "content") && directory.write("in/g", "x"));
        server = std::make_unique<ServerProgram>(directory.path("in"));
    }

    QString path(const QString &name) const { return directory.path(name); }
    QString url(const QString &path) const { return server->url(path); }

    int run(const QStringList &arguments)
    {
        Program program(arguments);
        const int code = program.waitForEnd();
        err = program.err();
        return code;
    }

    // Puts a file that takes long, and does `whenMoving` to it in the middle.
    int runBig(const QStringList &options, const std::function<void(Program &)> &whenMoving)
    {
        const qint64 size = 300 << 20;
        EXPECT_TRUE(directory.write("big", {}) && QFile::resize(path("big"), size));
        Program program(QStringList{"put"} + options + QStringList{path("big"), url("in")});
        const QString partial = VESK::temporaryPath(path("in/big"));
        EXPECT_TRUE(waitUntil([&] { return sizeOf(partial) > size / 20 || !program.isRunning(); }));
        whenMoving(program);
        const int code = program.waitForEnd();
        err = program.err();
        EXPECT_TRUE(directory.exists("in/" + partial.section('/', -1))) << "nothing was kept";
        return code;
    }
};

struct Row {
    int code;
    const char *name;
    std::function<int(Scene &)> run;
};

void PrintTo(const Row &row, std::ostream *out)
{
    *out << row.name;
}

class ExitCodeTest : public testing::TestWithParam<Row>
{
};

TEST_P(ExitCodeTest, Tells)
{
    Scene scene;
    ASSERT_NE(scene.server->port(), 0);
    EXPECT_EQ(GetParam().run(scene), GetParam().code) << scene.err.toStdString();
}

int portThatIsClosed()
{
    TempDir directory;
    ServerProgram server(directory.path());
    const int port = server.port();
    server.program().kill();
    return port;
}

// A server whose copy of a file never is what it says.
void sendNothing(ScriptedPeer &peer)
{
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
    ASSERT_TRUE(
        peer.sendMap(MessageKind::TaskParamAck,
                     {{"ackRespond", "true"}, {"fileSize", "x"}, {"mtime", "x"}, {"verifyValue", "none"}}));
    ASSERT_TRUE(peer.recvMap(MessageKind::FileVerifyResult));
}

const Row rows[] = {
    {0, "AllInPlace",
     [](Scene &scene) {
         return scene.run({"put", scene.path("f"), scene.url("in")});
     }},
    {0, "ThereAlready",
     [](Scene &scene) {
         (void)scene.run({"put", scene.path("f"), scene.url("in")}); // the second run is meant
         return scene.run({"put", scene.path("f"), scene.url("in")});
     }},
    {0, "Listed",
     [](Scene &scene) {
         return scene.run({"ls", scene.url("in")});
     }},
    {0, "Made",
     [](Scene &scene) {
         return scene.run({"mkdir", scene.url("in/d")});
     }},
    {0, "Fetched",
     [](Scene &scene) {
         return scene.run({"get", scene.url("in/g"), scene.path("out")});
     }},
    {0, "Answered",
     [](Scene &scene) {
         return scene.run({"ping", scene.url("in")});
     }},
    {0, "Help",
     [](Scene &scene) {
         return scene.run({"put", "--help"});
     }},
    {0, "Version", [](Scene &scene) { return scene.run({"--version"}); }},
    {1, "SomeFailed",
     [](Scene &scene) {
         return scene.run({"put", scene.path("absent"), scene.path("f"), scene.url("in")});
     }},
    {1, "FailedInTwoWays",
     [](Scene &scene) {
         return scene.run({"put", scene.path("absent"), scene.path(""), scene.url("in")});
     }},
    {2, "NoVerb", [](Scene &scene) { return scene.run({}); }},
    {2, "UnknownVerb", [](Scene &scene) { return scene.run({"upload"}); }},
    {2, "UnknownOption",
     [](Scene &scene) {
         return scene.run({"put", "--fast", scene.path("f"), scene.url("in")});
     }},
    {2, "ValueOutOfRange",
     [](Scene &scene) {
         return scene.run({"ls", "--mtu", "1", scene.url("in")});
     }},
    {2, "NoAddress",
     [](Scene &scene) {
         return scene.run({"put", scene.path("f"), "incoming"});
     }},
    {2, "Configuration",
     [](Scene &scene) {
         return scene.run({"ls", scene.url("in"), "--config", scene.path("absent")});
     }},
    {3, "Refused",
     [](Scene &scene) {
         return scene.run({"ls", "127.0.0.1:in", "--port", QString::number(portThatIsClosed())});
     }},
    {3, "NoSuchName",
     [](Scene &scene) {
         return scene.run({"ls", "name.invalid:in"});
     }},
    {4, "UnknownToken",
     [](Scene &scene) {
         // Its first start makes a token, which is not the first server's.
         ServerProgram other(scene.path("in"), 0, {"--token-file", scene.path("token")});
         return scene.run({"put", scene.path("f"), scene.url("in"), "--token-file", scene.path("token")});
     }},
    {5, "SourceMissing",
     [](Scene &scene) {
         return scene.run({"put", scene.path("absent"), scene.url("in")});
     }},
    {6, "VerificationFailedTwice",
     [](Scene &scene) {
         ScriptedServer server(sendNothing, 2);
         return scene.run({"get", ScriptedServer::url("s/f"), scene.path("out")});
     }},
    {7, "DirectoryAsFile",
     [](Scene &scene) {
         return scene.run({"put", scene.path(""), scene.url("in")});
     }},
    {7, "TargetIsAFile",
     [](Scene &scene) {
         return scene.run({"get", scene.url("in/g"), scene.path("f")});
     }},
    {8, "UnknownShare",
     [](Scene &scene) {
         return scene.run({"put", scene.path("f"), scene.url("nope")});
     }},
    {4, "RightMissing",
     [](Scene &scene) {
         ServerProgram reader(QString(), 0, {"--share", "in=" + scene.path("in") + ":r"});
         return scene.run({"put", scene.path("f"), reader.url("in")});
     }},
    {9, "ConnectionLost",
     [](Scene &scene) {
         return scene.runBig({"--retries", "0", "--stall-timeout", "1s"},
                             [&](Program &) { scene.server->program().signal(SIGSTOP); });
     }},
    {10, "NothingToDo",
     [](Scene &scene) {
         (void)scene.run({"put", scene.path("f"), scene.url("in")}); // the second run is meant
         return scene.run({"put", "--fail-if-nothing", scene.path("f"), scene.url("in")});
     }},
    {11, "LimitReached",
     [](Scene &scene) {
         return scene.runBig({"--max-bytes", "40M"}, [](Program &) {});
     }},
    {12, "NoTokenWanted",
     [](Scene &scene) {
         ServerProgram keeper(scene.path("in"), 0, {"--token-file", scene.path("token")});
         ServerProgram open(scene.path("in"), 0, {"--auth", "none"});
         return scene.run({"put", scene.path("f"), open.url("in"), "--token-file", scene.path("token")});
     }},
    {70, "Internal",
     [](Scene &scene) {
         const int code = scene.run({"serve", scene.path("in"), "--listen", "127.0.0.1:0", "--module",
                                     QStringLiteral(VESK_FAILING_MODULE)});
         EXPECT_THAT(scene.err.toStdString(),
                     testing::HasSubstr("error: internal error: no handler today.\n"));
         EXPECT_THAT(scene.err.toStdString(), testing::HasSubstr("please report it"));
         return code;
     }},
    {130, "Interrupted",
     [](Scene &scene) { return scene.runBig({}, [](Program &program) { program.signal(SIGINT); }); }},
    {143, "Terminated",
     [](Scene &scene) { return scene.runBig({}, [](Program &program) { program.signal(SIGTERM); }); }},
};

INSTANTIATE_TEST_SUITE_P(Table, ExitCodeTest, testing::ValuesIn(rows),
                         [](const auto &row) { return std::to_string(row.param.code) + row.param.name; });

} // namespace
