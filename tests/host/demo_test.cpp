#include "tests/host/program.h"

#include "tests/support/temp_dir.h"

#include <QtCore/QJsonDocument>

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

TEST(DemoTest, TellsItsStepsAsEvents)
{
    Program demo(
        {QStringLiteral("demo"), QStringLiteral("--size"), QStringLiteral("64"), QStringLiteral("--json")});
    EXPECT_EQ(demo.waitForEnd(), 0) << qPrintable(demo.err());
    QStringList names;
    const QStringList lines = demo.out().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString &line : lines) {
        const QJsonObject event = QJsonDocument::fromJson(line.toUtf8()).object();
        EXPECT_EQ(event.value(QStringLiteral("v")).toInt(), 1) << qPrintable(line);
        if (event.value(QStringLiteral("event")).toString() != QLatin1String("step"))
            continue;
        EXPECT_EQ(event.value(QStringLiteral("number")).toInt(), names.size() + 1) << qPrintable(line);
        EXPECT_FALSE(event.value(QStringLiteral("text")).toString().isEmpty()) << qPrintable(line);
        names.append(event.value(QStringLiteral("name")).toString());
    }
    EXPECT_EQ(names.join(QLatin1Char(' ')).toStdString(),
              "file server upload-killed upload-resumed upload-compared upload-repeated "
              "download-killed download-resumed download-compared");
    EXPECT_TRUE(lines.first().contains(QLatin1String("\"event\":\"start\"")));
    EXPECT_TRUE(lines.first().contains(QLatin1String("\"verb\":\"demo\"")));
    const QJsonObject summary = demo.event(QStringLiteral("summary"));
    EXPECT_EQ(summary.value(QStringLiteral("exitCode")).toInt(-1), 0);
    EXPECT_EQ(summary.value(QStringLiteral("failed")).toInt(-1), 0);
    EXPECT_EQ(summary.value(QStringLiteral("steps")).toInt(-1), names.size());
}

TEST(DemoTest, TellsAsEventsWhatDidNotHold)
{
    Program demo(
        {QStringLiteral("demo"), QStringLiteral("--size"), QStringLiteral("64"), QStringLiteral("--json")},
        {QStringLiteral("env"), QStringLiteral("TMPDIR=/proc")});
    EXPECT_EQ(demo.waitForEnd(), 1);
    const QJsonObject error = demo.event(QStringLiteral("error"));
    EXPECT_EQ(error.value(QStringLiteral("class")).toInt(-1), 1);
    EXPECT_THAT(error.value(QStringLiteral("what")).toString().toStdString(),
                HasSubstr("demo: no room for a file of 64.0 MiB in "));
    EXPECT_EQ(demo.event(QStringLiteral("summary")).value(QStringLiteral("exitCode")).toInt(-1), 1);
    EXPECT_THAT(demo.err().toStdString(), testing::StartsWith("error: demo: no room"));
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
