#include "host/server/running_uploads.h"

#include "tests/support/temp_dir.h"

#include "vesk_base/paths.h"

#include <QtCore/QFile>

#include <gtest/gtest.h>

using namespace VESK;
using namespace VESK::Host;
using VESK::Test::TempDir;

namespace
{

class RunningUploadsTest : public testing::Test
{
protected:
    void SetUp() override
    {
        m_partial = temporaryPath(m_directory.path(QStringLiteral("in/f")));
        ASSERT_TRUE(m_directory.mkdir(QStringLiteral("in/d")));
        ASSERT_TRUE(m_directory.mkdir(QStringLiteral("out")));
        ASSERT_TRUE(
            QFile::link(m_directory.path(QStringLiteral("in")), m_directory.path(QStringLiteral("link"))));
        QFile partial(m_partial);
        ASSERT_TRUE(partial.open(QIODevice::WriteOnly));
    }

    // As an upload to `target`, below the test's directory, sees it.
    void enter(const QString &target)
    {
        RunningUploads::Upload upload;
        upload.temporaryPath = temporaryPath(m_directory.path() + QLatin1Char('/') + target);
        ASSERT_TRUE(m_uploads.enter(target, upload));
    }

    TempDir m_directory;
    QString m_partial; // of "in/f"
    RunningUploads m_uploads;
};

TEST_F(RunningUploadsTest, HoldTheirPartialFilesHoweverThePathIsSpelt)
{
    for (const char *const target : {"in/f", "link/f", "in/d/../f", "in//f", "out/../link/./f"}) {
        EXPECT_FALSE(m_uploads.holds(m_partial)) << target;
        enter(QString::fromLatin1(target));
        EXPECT_TRUE(m_uploads.holds(m_partial)) << target;
        m_uploads.remove(QString::fromLatin1(target));
    }
}

TEST_F(RunningUploadsTest, DoNotHoldAFileOfTheSameNameElsewhere)
{
    QFile other(temporaryPath(m_directory.path(QStringLiteral("out/f"))));
    ASSERT_TRUE(other.open(QIODevice::WriteOnly));
    enter(QStringLiteral("out/f"));
    EXPECT_FALSE(m_uploads.holds(m_partial));
}

TEST_F(RunningUploadsTest, DoNotHoldAFileBeforeTheyMakeTheirs)
{
    enter(QStringLiteral("in/d/new"));
    EXPECT_FALSE(m_uploads.holds(m_partial));
}

} // namespace
