#include "host/error_type.h"
#include "host/server/share.h"
#include "host/server/target_check.h"

#include "tests/support/temp_dir.h"

#include "vesk_base/paths.h"

#include <gmock/gmock.h>

using namespace VESK::Host;
using VESK::ParamMap;
using VESK::Test::TempDir;

namespace
{

class TargetCheckTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_directory.mkdir(QStringLiteral("share")));
        m_share = shareOfDirectory(m_directory.path(QStringLiteral("share")));
    }

    QString obstacle(const QString &destination, const QString &name,
                     const QString &size = QStringLiteral("10"))
    {
        const ParamMap params = {
            {QStringLiteral("destPath"), destination},
            {QStringLiteral("fileName"), name},
            {QStringLiteral("fileSize"), size},
        };
        return findObstacle(m_share, uploadTarget(m_share, params));
    }

    TempDir m_directory;
    Share m_share;
};

TEST(ShareTest, BearsTheNameOfItsDirectory)
{
    EXPECT_EQ(shareOfDirectory(QStringLiteral("/srv/incoming/")).name, QStringLiteral("incoming"));
    EXPECT_EQ(shareOfDirectory(QStringLiteral("/srv/incoming/.")).directory, QStringLiteral("/srv/incoming"));
    EXPECT_EQ(shareOfDirectory(QStringLiteral("/srv/a:b%1")).name, QStringLiteral("a_b_1"));
    EXPECT_EQ(shareOfDirectory(QStringLiteral("/")).name, QStringLiteral("root"));
}

TEST(ShareTest, StandsInTheTableWithoutReservedCharactersOfItsPath)
{
    EXPECT_EQ(applicationTable(shareOfDirectory(QStringLiteral("/srv/a:b%1"))), QStringLiteral("a_b_1:/"));
}

TEST(UploadTargetTest, IsJoinedAsTheHandlerJoinsIt)
{
    const Share share = shareOfDirectory(QStringLiteral("/srv/in"));
    const ParamMap params = {
        {QStringLiteral("rootPath"), QStringLiteral("/r/")},
        {QStringLiteral("destPath"), QStringLiteral("d//e")},
        {QStringLiteral("fileName"), QStringLiteral("f")},
    };
    const UploadTarget target = uploadTarget(share, params);
    EXPECT_EQ(target.base, QStringLiteral("/srv/in/r"));
    EXPECT_EQ(target.directory, QStringLiteral("/srv/in/r/d/e"));
    EXPECT_EQ(target.path, QStringLiteral("/srv/in/r/d/e/f"));
    EXPECT_EQ(target.fileSize, -1);
}

TEST_F(TargetCheckTest, AcceptsAFreshFileInANewDirectory)
{
    EXPECT_EQ(obstacle(QStringLiteral("new/deep"), QStringLiteral("f")), QString());
}

TEST_F(TargetCheckTest, RefusesBadNamesAndSizes)
{
    EXPECT_EQ(obstacle(QString(), QString()), ErrorType::isDirectory());
    EXPECT_EQ(obstacle(QString(), QStringLiteral(".")), ErrorType::badRequest());
    EXPECT_EQ(obstacle(QString(), VESK::temporaryPath(QStringLiteral("f"))), ErrorType::badRequest());
    EXPECT_EQ(obstacle(QString(), QString(256, QLatin1Char('n'))), ErrorType::nameTooLong());
    EXPECT_EQ(obstacle(QString(), QString(255, QLatin1Char('n'))), QString());
    EXPECT_EQ(obstacle(QString(), QStringLiteral("f"), QStringLiteral("-1")), ErrorType::badRequest());
    EXPECT_EQ(obstacle(QString(), QStringLiteral("f"), QStringLiteral("x")), ErrorType::badRequest());
}

TEST_F(TargetCheckTest, RefusesFilesInTheWay)
{
    ASSERT_TRUE(m_directory.write(QStringLiteral("share/file"), "x"));
    ASSERT_TRUE(m_directory.mkdir(QStringLiteral("share/directory")));
    EXPECT_EQ(obstacle(QStringLiteral("file/below"), QStringLiteral("f")), ErrorType::notDirectory());
    EXPECT_EQ(obstacle(QString(), QStringLiteral("directory")), ErrorType::isDirectory());
}

TEST_F(TargetCheckTest, RefusesMoreThanTheDiskHolds)
{
    const QString tooMuch = QString::number(qint64(1) << 60);
    EXPECT_EQ(obstacle(QString(), QStringLiteral("f"), tooMuch), ErrorType::noSpace());
}

} // namespace
