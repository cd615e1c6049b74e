#include "host/server/server_meter.h"

#include <QtCore/QList>
#include <QtCore/QRegularExpression>
#include <QtCore/QSet>
#include <QtCore/QStringList>

#include <gmock/gmock.h>

using namespace VESK::Host;
using testing::HasSubstr;

// What a collector reads: each name has a help text and a kind, its samples stand together, and whoever
// checks names by the usual rules finds nothing to say.

namespace
{

struct Family {
    QString name;
    QString help;
    QString kind;
    QStringList samples; // names with labels
};

// What stands in `text`; a line that is none of the format is a failure.
QList<Family> familiesOf(const QString &text)
{
    static const QRegularExpression help(QStringLiteral("^# HELP ([a-z_]+) (.+)$"));
    static const QRegularExpression type(QStringLiteral("^# TYPE ([a-z_]+) (counter|gauge|histogram)$"));
    static const QRegularExpression sample(QStringLiteral(
        R"re(^([a-z_]+(?:\{(?:[a-z]+="(?:[^"\\]|\\[\\"n])*",?)+\})?) (\d+(?:\.\d+)?(?:e[-+]\d+)?)$)re"));
    QList<Family> families;
    EXPECT_TRUE(text.endsWith(QLatin1Char('\n')));
    for (const QString &line : text.chopped(1).split(QLatin1Char('\n'))) {
        if (const auto match = help.match(line); match.hasMatch()) {
            families.append({match.captured(1), match.captured(2), QString(), QStringList()});
        } else if (const auto kind = type.match(line); kind.hasMatch() && !families.isEmpty()) {
            EXPECT_EQ(kind.captured(1), families.last().name);
            families.last().kind = kind.captured(2);
        } else if (const auto value = sample.match(line); value.hasMatch() && !families.isEmpty()) {
            EXPECT_TRUE(value.captured(1).startsWith(families.last().name)) << qPrintable(line);
            families.last().samples.append(value.captured(1));
        } else {
            ADD_FAILURE() << "no line of the format: " << qPrintable(line);
        }
    }
    return families;
}

QString textOf(const ServerMeter &meter)
{
    return QString::fromUtf8(meter.text());
}

QStringList missingFrom(const QString &text, const QStringList &lines)
{
    QStringList missing;
    const QStringList all = text.split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (!all.contains(line))
            missing.append(line);
    }
    return missing;
}

class ServerMeterTest : public testing::Test
{
protected:
    ServerMeter m_meter;
};

TEST_F(ServerMeterTest, DescribesEachNameOnceAndGivesNoSampleTwice)
{
    m_meter.addTask({QStringLiteral("upload"), true, 7, 3});
    m_meter.addRefusal(QStringLiteral("Busy"));
    QSet<QString> names;
    QSet<QString> samples;
    for (const Family &family : familiesOf(textOf(m_meter))) {
        EXPECT_FALSE(names.contains(family.name)) << qPrintable(family.name);
        EXPECT_FALSE(family.kind.isEmpty()) << qPrintable(family.name);
        EXPECT_FALSE(family.samples.isEmpty()) << qPrintable(family.name);
        names.insert(family.name);
        for (const QString &sample : family.samples) {
            EXPECT_FALSE(samples.contains(sample)) << qPrintable(sample);
            samples.insert(sample);
        }
    }
    EXPECT_EQ(names.size(), 7);
}

TEST_F(ServerMeterTest, NamesCountersAndOnlyThemTotals)
{
    m_meter.addRefusal(QStringLiteral("Busy"));
    for (const Family &family : familiesOf(textOf(m_meter)))
        EXPECT_EQ(family.name.endsWith(QLatin1String("_total")), family.kind == QLatin1String("counter"))
            << qPrintable(family.name);
}

TEST_F(ServerMeterTest, KnowsOfEachOperationBeforeItsFirstTask)
{
    for (const char *const operation : {"upload", "download", "list", "createDir"}) {
        for (const char *const result : {"done", "failed"})
            EXPECT_THAT(textOf(m_meter).toStdString(),
                        HasSubstr("\nvesk_tasks_total{operation=\"" + std::string(operation) + "\",result=\""
                                  + result + "\"} 0\n"));
    }
}

TEST_F(ServerMeterTest, CountsTasksTheirBytesAndConnections)
{
    m_meter.addConnection();
    m_meter.addConnection();
    m_meter.endConnection(5);
    m_meter.addTask({QStringLiteral("upload"), true, 7, -1});
    m_meter.addTask({QStringLiteral("upload"), false, Q_INT64_C(1) << 40, -1});
    m_meter.addTask({QStringLiteral("list"), true, 0, -1});
    EXPECT_EQ(missingFrom(textOf(m_meter),
                          {QStringLiteral("vesk_connections 1"), QStringLiteral("vesk_connections_total 2"),
                           QStringLiteral("vesk_repeated_packets_total 5"),
                           QStringLiteral("vesk_tasks_total{operation=\"upload\",result=\"done\"} 1"),
                           QStringLiteral("vesk_tasks_total{operation=\"upload\",result=\"failed\"} 1"),
                           QStringLiteral("vesk_tasks_total{operation=\"list\",result=\"done\"} 1"),
                           QStringLiteral("vesk_moved_bytes_total{operation=\"upload\"} 1099511627783"),
                           QStringLiteral("vesk_moved_bytes_total{operation=\"download\"} 0")}),
              QStringList());
}

TEST_F(ServerMeterTest, SortsRoundTripsByTheirLength)
{
    for (const double roundTripMs : {-1.0, 0.3, 0.4, 90.0, 5000.0})
        m_meter.addTask({QStringLiteral("upload"), true, 0, roundTripMs});
    EXPECT_EQ(missingFrom(textOf(m_meter),
                          {QStringLiteral("vesk_round_trip_seconds_count 4"),
                           QStringLiteral("vesk_round_trip_seconds_sum 5.0907"),
                           QStringLiteral("vesk_round_trip_seconds_bucket{le=\"0.001\"} 2"),
                           QStringLiteral("vesk_round_trip_seconds_bucket{le=\"0.05\"} 2"),
                           QStringLiteral("vesk_round_trip_seconds_bucket{le=\"0.1\"} 3"),
                           QStringLiteral("vesk_round_trip_seconds_bucket{le=\"2\"} 3"),
                           QStringLiteral("vesk_round_trip_seconds_bucket{le=\"+Inf\"} 4")}),
              QStringList());
}

TEST_F(ServerMeterTest, LeavesOutWhatIsNotKnown)
{
    m_meter.addConnection();
    m_meter.endConnection(-1);
    m_meter.addTask({QStringLiteral("download"), true, -3, -1});
    EXPECT_EQ(missingFrom(textOf(m_meter),
                          {QStringLiteral("vesk_repeated_packets_total 0"),
                           QStringLiteral("vesk_moved_bytes_total{operation=\"download\"} 0"),
                           QStringLiteral("vesk_round_trip_seconds_count 0")}),
              QStringList());
}

TEST_F(ServerMeterTest, EscapesWordsOfHandlers)
{
    m_meter.addRefusal(QStringLiteral("a\"b\\c\nd"));
    EXPECT_EQ(missingFrom(textOf(m_meter), {QStringLiteral(R"(vesk_refusals_total{reason="a\"b\\c\nd"} 1)")}),
              QStringList());
    (void)familiesOf(textOf(m_meter));
}

} // namespace
