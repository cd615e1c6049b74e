#include "host/server/log_writer.h"

#include "tests/support/background.h"
#include "tests/support/soon.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <optional>
#include <string>

using namespace VESK::Host;
using testing::EndsWith;
using VESK::Test::Background;
using VESK::Test::soon;

namespace
{

constexpr int queueLimit = 1 << 16; // bytes

/// A writer to a small pipe.
class LogWriterTest : public testing::Test
{
protected:
    LogWriterTest()
    {
        EXPECT_EQ(::pipe2(m_pipe, O_CLOEXEC), 0);
        EXPECT_GT(::fcntl(m_pipe[1], F_SETPIPE_SZ, 4096), 0);
        m_writer.emplace(m_pipe[1], queueLimit);
    }

    ~LogWriterTest() override
    {
        m_writer.reset();
        closeWritingEnd();
        ::close(m_pipe[0]);
    }

    void closeWritingEnd()
    {
        if (m_pipe[1] >= 0)
            ::close(m_pipe[1]);
        m_pipe[1] = -1;
    }

    /// Everything until the writing end is closed.
    std::string readAll() const
    {
        std::string text;
        char buffer[4096];
        for (ssize_t count = 0; (count = ::read(m_pipe[0], buffer, sizeof buffer)) > 0;)
            text.append(buffer, static_cast<std::size_t>(count));
        return text;
    }

    /// The same while the writer ends.
    std::string readToTheEnd()
    {
        const Background reader([this] { return readAll(); });
        m_writer.reset();
        closeWritingEnd();
        return reader.wait(soon).value_or("the reader hangs");
    }

    static QByteArray line(int number) { return QByteArray::number(number) + " of many\n"; }

    int m_pipe[2] = {-1, -1};
    std::optional<LogWriter> m_writer;
};

TEST_F(LogWriterTest, WritesEveryLineInOrder)
{
    std::string expected;
    for (int i = 0; i < 1000; ++i) {
        m_writer->add(line(i));
        expected += line(i).toStdString();
    }
    EXPECT_EQ(readToTheEnd(), expected);
}

TEST_F(LogWriterTest, WritesALineThatIsLongerThanAPipe)
{
    const QByteArray longLine = QByteArray(50000, 'x') + '\n';
    m_writer->add(longLine);
    EXPECT_EQ(readToTheEnd(), longLine.toStdString());
}

TEST_F(LogWriterTest, NeverHoldsUpWhoeverLogs)
{
    const Background logging([this] {
        for (int i = 0; i < 100000; ++i)
            m_writer->add(line(i));
    });
    EXPECT_EQ(logging.wait(soon), true);
}

TEST_F(LogWriterTest, SaysHowManyLinesItHadToDrop)
{
    constexpr int lines = 100000;
    for (int i = 0; i < lines; ++i)
        m_writer->add(line(i));
    const std::string text = readToTheEnd();
    EXPECT_EQ(text.compare(0, 10, "0 of many\n"), 0);
    const auto kept = std::count(text.begin(), text.end(), '\n') - 1; // and the notice
    EXPECT_LT(kept, lines);
    EXPECT_THAT(text,
                EndsWith("warning - " + std::to_string(lines - kept)
                         + " lines are missing here: nobody read the log in time\n"));
}

TEST_F(LogWriterTest, GoesOnBehindTheLinesThatAreMissing)
{
    for (int i = 0; i < 100000; ++i)
        m_writer->add(line(i));
    // Lines are taken again when the queue has been written.
    std::string text;
    char buffer[4096];
    while (text.find("in time\n") == std::string::npos) {
        const ssize_t count = ::read(m_pipe[0], buffer, sizeof buffer);
        ASSERT_GT(count, 0);
        text.append(buffer, static_cast<std::size_t>(count));
    }
    m_writer->add("behind\n");
    EXPECT_EQ(readToTheEnd(), "behind\n");
}

TEST_F(LogWriterTest, EndsThoughNobodyReads)
{
    for (int i = 0; i < 100000; ++i)
        m_writer->add(line(i));
    const Background ending([this] { m_writer.reset(); });
    EXPECT_EQ(ending.wait(soon), true);
}

} // namespace
