#include "tests/host/program.h"

#include "tests/support/temp_dir.h"

#include <gmock/gmock.h>

using namespace VESK::Test;
using testing::HasSubstr;

namespace
{

TEST(DemoTest, HoldsAndLeavesNothingBehind)
{
    const TempDir directory;
    const QString temporary = QStringLiteral("TMPDIR=") + directory.path();
    Program demo({QStringLiteral("demo"), QStringLiteral("--size"), QStringLiteral("64")},
                 {QStringLiteral("env"), temporary});
    EXPECT_EQ(demo.waitForEnd(), 0) << qPrintable(demo.err());
    EXPECT_THAT(demo.out().toStdString(), HasSubstr("The second download went on from there"));
    EXPECT_THAT(demo.out().toStdString(), HasSubstr("All of it held."));
    EXPECT_EQ(directory.entries(), QStringList());
}

TEST(VersionTest, IsPrinted)
{
    Program program({QStringLiteral("version")});
    EXPECT_EQ(program.waitForEnd(), 0);
    EXPECT_THAT(program.out().toStdString(), testing::StartsWith("vesk "));
}

TEST(HelpTest, BeginsWithExamples)
{
    for (const QString &verb :
         {QString(), QStringLiteral("serve"), QStringLiteral("put"), QStringLiteral("get"),
          QStringLiteral("ls"), QStringLiteral("mkdir"), QStringLiteral("ping"), QStringLiteral("demo")}) {
        QStringList arguments = {QStringLiteral("--help")};
        if (!verb.isEmpty())
            arguments.prepend(verb);
        Program program(arguments);
        EXPECT_EQ(program.waitForEnd(), 0);
        EXPECT_THAT(program.out().toStdString(), testing::StartsWith("Examples:")) << qPrintable(verb);
    }
}

} // namespace
