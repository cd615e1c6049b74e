#include "tests/host/program.h"
#include "tests/support/qt_text.h"

#include <gmock/gmock.h>

using namespace VESK::Test;

namespace
{

const QStringList verbs = {"serve", "put", "get", "ls", "mkdir", "ping", "demo", "version", "help"};

TEST(Help, ListsEachVerbInOneLine)
{
    Program help({"help"});
    EXPECT_EQ(help.waitForEnd(), 0);
    const QString out = help.out();
    const QStringList lines = out.mid(out.indexOf("Subcommands:\n")).split('\n', Qt::SkipEmptyParts).mid(1);
    ASSERT_EQ(lines.size(), verbs.size());
    for (int i = 0; i < verbs.size(); ++i) {
        EXPECT_TRUE(lines[i].startsWith("  " + verbs[i] + " ")) << lines[i].toStdString();
        EXPECT_LE(lines[i].size(), 80) << lines[i].toStdString();
    }
}

TEST(Help, OfAVerbIsTheSameInBothSpellings)
{
    for (const QString &verb : verbs) {
        Program help({"help", verb});
        Program option({verb, "--help"});
        EXPECT_EQ(help.waitForEnd(), 0);
        EXPECT_EQ(option.waitForEnd(), 0);
        EXPECT_EQ(help.out(), option.out());
        EXPECT_TRUE(help.out().contains("Usage: vesk " + verb)) << help.out().toStdString();
    }
}

TEST(Help, OfAnUnknownVerbSaysSo)
{
    Program help({"help", "fly\n"});
    EXPECT_EQ(help.waitForEnd(), 2);
    EXPECT_EQ(help.out(), "");
    EXPECT_EQ(help.err(), "error: there is no verb \"fly\\n\".\n  - vesk help lists all.\n");
}

} // namespace
