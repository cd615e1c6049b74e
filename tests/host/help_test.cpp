#include "tests/host/program.h"
#include "tests/support/qt_text.h"

#include <QtCore/QJsonArray>
#include <QtCore/QRegularExpression>

#include <gmock/gmock.h>

using namespace VESK::Test;

namespace
{

constexpr int screenColumns = 80;
constexpr int screenLines = 30;

QString errorOf(const QStringList &arguments)
{
    Program program(arguments);
    EXPECT_EQ(program.waitForEnd(), 2);
    EXPECT_EQ(program.out(), "");
    return program.err();
}

QStringList verbs()
{
    Program help({"help"});
    EXPECT_EQ(help.waitForEnd(), 0);
    QStringList found;
    const QString list = help.out().section("\nVerbs:\n", 1).section("\n\n", 0, 0);
    for (const QString &line : list.split('\n'))
        found << line.trimmed().section(' ', 0, 0);
    return found;
}

TEST(Help, ListsEachVerb)
{
    const QStringList found = verbs();
    for (const char *verb : {"serve", "put", "get", "ls", "mkdir", "ping", "partials", "demo", "config",
                             "completion", "version", "help"})
        EXPECT_TRUE(found.contains(verb)) << verb;
}

TEST(Help, FitsAScreenAndBeginsWithExamples)
{
    QStringList pages = verbs();
    pages << ""
          << "config show"
          << "config check";
    for (const QString &page : pages) {
        Program help(QStringList{"help"} + page.split(' ', Qt::SkipEmptyParts));
        EXPECT_EQ(help.waitForEnd(), 0);
        const QStringList lines = help.out().split('\n');
        EXPECT_EQ(lines.value(0), "Examples:") << page.toStdString();
        EXPECT_TRUE(lines.value(1).startsWith("  ")) << page.toStdString();
        EXPECT_LE(lines.size() - 1, screenLines) << help.out().toStdString();
        for (const QString &line : lines)
            EXPECT_LE(line.size(), screenColumns) << line.toStdString();
    }
}

TEST(Help, OfAVerbIsTheSameInBothSpellings)
{
    for (const QString &verb : verbs()) {
        Program help({"help", verb});
        Program option({verb, "--help"});
        EXPECT_EQ(help.waitForEnd(), 0);
        EXPECT_EQ(option.waitForEnd(), 0);
        EXPECT_EQ(help.out(), option.out());
        EXPECT_TRUE(help.out().contains("Usage: vesk " + verb)) << help.out().toStdString();
    }
}

TEST(Help, SaysWhatEachOptionTakes)
{
    for (const QString &verb : verbs()) {
        Program help({"help", verb, "--all"});
        EXPECT_EQ(help.waitForEnd(), 0);
        static const QRegularExpression unsaid("^  .*--[a-z0-9-]+ (TEXT|INT|UINT|FLOAT)\\b.*$",
                                               QRegularExpression::MultilineOption);
        EXPECT_EQ(unsaid.match(help.out()).captured(), QString()) << verb.toStdString();
    }
    Program serve({"help", "serve", "--all"});
    EXPECT_EQ(serve.waitForEnd(), 0);
    for (const char *option : {"--listen ADDRESS[:PORT]", "--share NAME=DIR[:RIGHTS]", "--auth METHOD"})
        EXPECT_TRUE(serve.out().contains(option)) << option;
    Program put({"help", "put", "--all"});
    EXPECT_EQ(put.waitForEnd(), 0);
    for (const char *option :
         {"--jobs N|auto", "--existing RULE", "--limit-rate RATE", "--verify-cache FILE"})
        EXPECT_TRUE(put.out().contains(option)) << option;
}

TEST(Help, NamesTheOptionsThatItDoesNotExplain)
{
    Program shortPage({"help", "put"});
    Program fullPage({"put", "--help-all"});
    EXPECT_EQ(shortPage.waitForEnd(), 0);
    EXPECT_EQ(fullPage.waitForEnd(), 0);
    static const QRegularExpression optionLine("^  (?:-., )?(--[a-z0-9-]+)",
                                               QRegularExpression::MultilineOption);
    const QString ofPut = fullPage.out().section("Of every verb:", 0, 0);
    int count = 0;
    for (auto options = optionLine.globalMatch(ofPut); options.hasNext(); ++count) {
        const QString name = options.next().captured(1);
        const bool isHelp = name.startsWith("--help"); // the way to the full page is named
        EXPECT_TRUE(isHelp || shortPage.out().contains(name)) << name.toStdString();
    }
    EXPECT_GE(count, 10);
}

TEST(Help, OfAnUnknownVerbSaysSo)
{
    EXPECT_EQ(errorOf({"help", "fly\n"}), "error: there is no verb \"fly\\n\".\n  - vesk help lists all.\n");
    EXPECT_EQ(errorOf({"help", "config", "shwo"}),
              "error: there is no verb \"shwo\".\n  - Did you mean vesk config show?\n"
              "  - vesk help config lists all.\n");
}

TEST(Usage, SuggestsTheVerbThatWasMeant)
{
    EXPECT_EQ(errorOf({"putt", "a", "b:c"}),
              "error: there is no verb \"putt\".\n  - Did you mean vesk put?\n  - vesk help lists all.\n");
    EXPECT_EQ(errorOf({}), "error: the verb is missing.\n  - vesk help lists all.\n");
    EXPECT_EQ(errorOf({"config"}), "error: the verb is missing.\n  - vesk config --help shows examples.\n");
}

TEST(Usage, SuggestsTheOptionThatWasMeant)
{
    EXPECT_EQ(errorOf({"put", "--retrys=3", "a", "b:c"}),
              "error: vesk put has no option --retrys.\n  - Did you mean --retries?\n"
              "  - vesk help put --all lists them.\n");
    EXPECT_EQ(errorOf({"ls", "--recursive", "a:b"}),
              "error: vesk ls has no option --recursive.\n  - It is one of put, get.\n"
              "  - vesk help ls --all lists them.\n");
}

TEST(Usage, NamesTheArgumentThatIsTooMuch)
{
    EXPECT_EQ(errorOf({"ls", "a:b", "c\n:d"}),
              "error: vesk ls takes no argument \"c\\n:d\".\n  - vesk ls --help shows examples.\n");
}

TEST(Version, TellsModuleLibrariesAndWaysOfVerification)
{
    Program text({"version"});
    EXPECT_EQ(text.waitForEnd(), 0) << text.err().toStdString();
    EXPECT_TRUE(text.out().contains("module: VESK-2.0.0 (")) << text.out().toStdString();
    EXPECT_TRUE(text.out().contains("verification: xxh128, sha256, quick, none\n"));
    Program json({"version", "--json"});
    EXPECT_EQ(json.waitForEnd(), 0);
    const QJsonObject event = json.event("version");
    EXPECT_EQ(event["v"], 1);
    EXPECT_EQ(event["modules"], QJsonArray{"VESK-2.0.0"});
    EXPECT_EQ(event["verification"], (QJsonArray{"xxh128", "sha256", "quick", "none"}));
    EXPECT_TRUE(text.out().startsWith("vesk " + event["version"].toString() + '\n'));
}

TEST(Version, TellsThatTheModuleIsMissing)
{
    Program program({"version", "--module", "/nonexistent"});
    EXPECT_EQ(program.waitForEnd(), 2);
    EXPECT_TRUE(program.out().startsWith("vesk ")) << program.out().toStdString();
}

} // namespace
