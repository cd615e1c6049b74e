#include "host/doctor/hello_checks.h"
#include "host/doctor/local_checks.h"
#include "host/doctor/path_checks.h"

#include "tests/support/sizes.h"
#include "tests/support/temp_dir.h"

#include <QtCore/QFile>

#include <gmock/gmock.h>

using namespace VESK::Host;
using VESK::Test::mib;
using VESK::Test::TempDir;
using Grade = Finding::Grade;
using testing::HasSubstr;

namespace
{

std::string mendOf(const Finding &finding)
{
    return finding.mend.join(QLatin1Char('\n')).toStdString();
}

TEST(KernelBuffersTest, NamesTheExactSettingsWhereTheyAreSmall)
{
    const Finding stock = judgeKernelBuffers(212992, 212992);
    EXPECT_EQ(stock.grade, Grade::Slow);
    EXPECT_THAT(mendOf(stock),
                HasSubstr("sudo sysctl -w net.core.rmem_max=4194304 net.core.wmem_max=1048576\n"));
    EXPECT_THAT(mendOf(stock), HasSubstr("'net.core.rmem_max=4194304\\nnet.core.wmem_max=1048576\\n'"));
    const Finding halfway = judgeKernelBuffers(212992, 8 * mib);
    EXPECT_THAT(mendOf(halfway), HasSubstr("wmem_max=8388608")) << "what is enough is not cut";
}

TEST(KernelBuffersTest, IsContentWithEnough)
{
    EXPECT_EQ(judgeKernelBuffers(4 * mib, mib).grade, Grade::Good);
    EXPECT_EQ(judgeKernelBuffers(-1, mib).grade, Grade::Note);
}

TEST(OpenFilesTest, SaysHowTheLimitIsRaised)
{
    EXPECT_EQ(judgeOpenFiles(1024, 4096).grade, Grade::Good);
    EXPECT_EQ(judgeOpenFiles(64, 4096).grade, Grade::Slow);
    EXPECT_EQ(mendOf(judgeOpenFiles(64, 4096)), "ulimit -n 256");
    EXPECT_THAT(mendOf(judgeOpenFiles(64, 64)), HasSubstr("limits.conf"));
}

DiskFacts disk(const char *fileSystem, qint64 freeBytes)
{
    DiskFacts facts;
    facts.directory = QStringLiteral("/d");
    facts.fileSystem = QString::fromLatin1(fileSystem);
    facts.freeBytes = freeBytes;
    return facts;
}

TEST(DiskTest, TellsWhatWouldMakeADownloadFail)
{
    EXPECT_EQ(judgeDisk(disk("ext4", 5000 * mib)).grade, Grade::Good);
    EXPECT_EQ(judgeDisk(disk("ext4", 100 * mib)).grade, Grade::Slow);
    EXPECT_THAT(judgeDisk(disk("vfat", 5000 * mib)).text.toStdString(), HasSubstr("4 GiB"));
    EXPECT_EQ(judgeDisk(disk("nfs4", 5000 * mib)).grade, Grade::Slow);
    EXPECT_EQ(judgeDisk(disk("tmpfs", 5000 * mib)).grade, Grade::Note);
    DiskFacts closed = disk("ext4", 5000 * mib);
    closed.isWritable = false;
    EXPECT_EQ(judgeDisk(closed).grade, Grade::Slow);
    EXPECT_THAT(mendOf(judgeDisk(closed)), HasSubstr("chown"));
    closed.isThere = false;
    EXPECT_EQ(mendOf(judgeDisk(closed)), "mkdir -p /d");
}

TEST(DiskTest, SeesTheDirectoryItIsGiven)
{
    const TempDir directory;
    EXPECT_NE(checkDisk(directory.path()).text.indexOf(QStringLiteral("free")), -1);
    EXPECT_EQ(checkDisk(directory.path(QStringLiteral("absent"))).grade, Grade::Slow);
}

TEST(LinksTest, FindsALinkThatLeadsBack)
{
    const TempDir directory;
    ASSERT_TRUE(directory.mkdir(QStringLiteral("a/b")));
    EXPECT_EQ(checkLinks(directory.path()).grade, Grade::Good);
    ASSERT_TRUE(QFile::link(directory.path(QStringLiteral("a")), directory.path(QStringLiteral("a/b/up"))));
    const Finding finding = checkLinks(directory.path());
    EXPECT_EQ(finding.grade, Grade::Slow);
    EXPECT_THAT(finding.text.toStdString(), HasSubstr("1 looping link"));
    EXPECT_THAT(mendOf(finding), HasSubstr("/a/b/up'"));
}

PacketFacts packets(int agreed, int passed, int pathLimit)
{
    return {1400, agreed, passed, pathLimit};
}

TEST(PacketsTest, ProposesWhatPasses)
{
    EXPECT_EQ(judgePackets(packets(1400, 1400, 1500)).grade, Grade::Good);
    const Finding tunnel = judgePackets(packets(1400, 1280, 1500));
    EXPECT_EQ(tunnel.grade, Grade::Slow);
    EXPECT_THAT(mendOf(tunnel), HasSubstr("--mtu 1280"));
    EXPECT_EQ(judgePackets(packets(1400, 0, 1500)).grade, Grade::Unreachable);
    EXPECT_EQ(judgePackets(packets(0, 0, 1500)).grade, Grade::Slow);
}

TEST(PacketsTest, MentionsALineForLargePackets)
{
    const Finding jumbo = judgePackets(packets(1400, 1400, 65536));
    EXPECT_EQ(jumbo.grade, Grade::Note);
    EXPECT_THAT(mendOf(jumbo), HasSubstr("--mtu 9000"));
    EXPECT_EQ(judgePackets(packets(9000, 9000, 9000)).grade, Grade::Good);
}

TEST(ClockTest, TellsADifferenceThatTheLineDoesNotExplain)
{
    EXPECT_EQ(judgeClock({{10, 20}}).grade, Grade::Good);
    EXPECT_EQ(judgeClock({{10, -3600000}}).grade, Grade::Note);
    EXPECT_THAT(judgeClock({{10, -3600000}}).text.toStdString(), HasSubstr("1:00:00 behind ours"));
    EXPECT_EQ(judgeClock({{9000, 4000}, {8000, 3000}}).grade, Grade::Good);
}

TEST(DelayTest, TakesTheFastestAnswer)
{
    EXPECT_THAT(judgeDelay({{30, 0}, {12, 0}, {80, 0}}).text.toStdString(), HasSubstr("take 12 ms"));
    EXPECT_THAT(judgeDelay({{180, 0}}).text.toStdString(), HasSubstr("several connections"));
}

TEST(FindingTest, IsTheWorstOfAll)
{
    EXPECT_EQ(worstGrade({}), Grade::Good);
    EXPECT_EQ(
        worstGrade({{QStringLiteral("a"), Grade::Slow, {}, {}}, {QStringLiteral("b"), Grade::Note, {}, {}}}),
        Grade::Slow);
}

TEST(FindingTest, StandsInColumnsWithWhatMendsItBelow)
{
    const Finding finding{
        QStringLiteral("reach"), Grade::Slow, QStringLiteral("it is far"), {QStringLiteral("move")}};
    EXPECT_EQ(findingText(finding).toStdString(),
              "slow         reach    it is far\n"
              "                      > move\n");
}

} // namespace
