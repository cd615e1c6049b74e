#include "tests/support/log_recorder.h"

#include "vesk_base/vesk_base.h"

#include <gtest/gtest.h>

#include <QtCore/QLoggingCategory>

#include <string>
#include <thread>
#include <vector>

using namespace VESK;
using namespace VESK::Test;

namespace
{

TEST(LogSink, GetsHandlerAndTextsUnchanged)
{
    VeskBase handler;
    std::vector<std::tuple<const VeskBase *, QString, QString>> lines;
    VeskBase::setLogSink([&](const VeskBase *from, const QString &level, const QString &message) {
        lines.emplace_back(from, level, message);
    });
    const QString odd = "uploadRequest: %1 %s\n\u202E"_s + QChar(0) + QChar(0xD800);
    handler.log("error"_s, odd);
    handler.log("no such level"_s, QString());
    VeskBase::setLogSink({});

    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], std::make_tuple(&handler, "error"_s, odd));
    EXPECT_EQ(lines[1], std::make_tuple(&handler, "no such level"_s, QString()));
}

TEST(LogSink, MayReadAndWriteParameters)
{
    VeskBase handler;
    VeskBase::setLogSink([&](const VeskBase *, const QString &, const QString &message) {
        EXPECT_TRUE(handler.setParam("logged"_s, message));
        VeskBase::setLogSink({}); // nor is the sink's own place locked
    });
    handler.log("info"_s, "line"_s);
    EXPECT_EQ(handler.getParam("logged"_s), "line"_s);
}

TEST(LogSink, GetsLinesOfSeveralThreads)
{
    const LogRecorder recorder;
    VeskBase handlers[4];
    std::vector<std::thread> threads;
    for (VeskBase &handler : handlers)
        threads.emplace_back([&handler] {
            for (int i = 0; i < 500; ++i)
                handler.log("debug"_s, QString::number(i));
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(recorder.lines().size(), 2000);
    for (const VeskBase &handler : handlers) {
        const QStringList lines = recorder.lines(&handler);
        ASSERT_EQ(lines.size(), 500);
        EXPECT_EQ(lines.first(), "debug|0"_s);
        EXPECT_EQ(lines.last(), "debug|499"_s);
    }
}

struct QtLine {
    QtMsgType type;
    std::string category;
    QString message;

    bool operator==(const QtLine &other) const
    {
        return type == other.type && category == other.category && message == other.message;
    }
};

std::vector<QtLine> qtLines; // a message handler is a plain function

class LogWithoutSink : public testing::Test
{
protected:
    void SetUp() override
    {
        qtLines.clear();
        QLoggingCategory::setFilterRules("vesk.task.debug=true"_s);
        m_earlier = qInstallMessageHandler(
            [](QtMsgType type, const QMessageLogContext &context, const QString &text) {
                qtLines.push_back({type, context.category, text});
            });
    }

    void TearDown() override { qInstallMessageHandler(m_earlier); }

private:
    QtMessageHandler m_earlier = nullptr;
};

TEST_F(LogWithoutSink, GoesToQtsCategory)
{
    VeskBase handler;
    handler.log("error"_s, "process: %1 é"_s);
    handler.log("warning"_s, "w"_s);
    handler.log("info"_s, "i"_s);
    handler.log("debug"_s, "d"_s);
    handler.log("other"_s, "o"_s);
    const std::vector<QtLine> expected{{QtCriticalMsg, "vesk.task", "process: %1 é"_s},
                                       {QtWarningMsg, "vesk.task", "w"_s},
                                       {QtInfoMsg, "vesk.task", "i"_s},
                                       {QtDebugMsg, "vesk.task", "d"_s},
                                       {QtDebugMsg, "vesk.task", "o"_s}};
    EXPECT_EQ(qtLines, expected);
}

TEST_F(LogWithoutSink, ComesBackWhenTheSinkIsRemoved)
{
    VeskBase handler;
    {
        const LogRecorder recorder;
        handler.log("info"_s, "recorded"_s);
        EXPECT_EQ(recorder.lines(), QStringList("info|recorded"_s));
        EXPECT_TRUE(qtLines.empty());
    }
    handler.log("info"_s, "to Qt"_s);
    EXPECT_EQ(qtLines, (std::vector<QtLine>{{QtInfoMsg, "vesk.task", "to Qt"_s}}));
}

} // namespace
