#include "tests/host/client_test.h"
#include "tests/host/exit_status.h"

#include "vesk_base/paths.h"

#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QJsonDocument>

#include <gmock/gmock.h>

// What interrupted transfers have left, as the owner of a directory sees it.

using namespace VESK::Test;
using testing::HasSubstr;
using testing::MatchesRegex;

namespace
{

constexpr qint64 hour = 3600; // seconds
constexpr qint64 day = 24 * hour;

class PartialsTest : public ClientTest
{
protected:
    void SetUp() override
    {
        m_old = partial(QStringLiteral("in/old"), 3 << 20, 31 * day);
        m_fresh = partial(QStringLiteral("in/.hidden/fresh"), 5, 10);
        m_middling = partial(QStringLiteral("in/d/middling"), 2048, 5 * hour);
        ASSERT_TRUE(m_directory.write(QStringLiteral("in/plain"), "p"));
    }

    // A partial copy of the file that is to be `target`, last written to so long ago.
    QString partial(const QString &target, qint64 size, qint64 ageSeconds)
    {
        const QString directory = target.section(QLatin1Char('/'), 0, -2);
        EXPECT_TRUE(m_directory.mkdir(directory));
        QFile file(VESK::temporaryPath(m_directory.path(target)));
        EXPECT_TRUE(file.open(QIODevice::ReadWrite));
        EXPECT_TRUE(file.resize(size));
        EXPECT_TRUE(file.setFileTime(QDateTime::currentDateTime().addSecs(-ageSeconds),
                                     QFileDevice::FileModificationTime));
        return file.fileName();
    }

    int partials(const QStringList &options = {})
    {
        return run(QStringList{QStringLiteral("partials"), m_directory.path(QStringLiteral("in"))} + options);
    }

    QString m_old;
    QString m_fresh;
    QString m_middling;
};

TEST_F(PartialsTest, AreListedByPathWithSizeAndAge)
{
    EXPECT_EQ(partials(), 0) << m_err;
    const QStringList lines = QString::fromStdString(m_out).split(QLatin1Char('\n'));
    ASSERT_EQ(lines.size(), 4) << m_out;
    EXPECT_THAT(lines[0].toStdString(), MatchesRegex(" +5 B +[0-9]+ s  " + m_fresh.toStdString()));
    EXPECT_THAT(lines[1].toStdString(), MatchesRegex(" +3.0 MiB +31 d  " + m_old.toStdString()));
    EXPECT_THAT(lines[2].toStdString(), MatchesRegex(" +2.0 KiB +5 h  " + m_middling.toStdString()));
    EXPECT_EQ(m_err, "3 partial copies of 3.0 MiB\n");
}

TEST_F(PartialsTest, AreLeftOutWhenTheyAreYoungerThanWanted)
{
    EXPECT_EQ(partials({QStringLiteral("--older-than"), QStringLiteral("4h")}), 0) << m_err;
    EXPECT_EQ(m_err, "2 partial copies of 3.0 MiB\n");
    EXPECT_EQ(m_out.find(m_fresh.toStdString()), std::string::npos);
}

TEST_F(PartialsTest, AreRemovedWhenTheyAreOld)
{
    EXPECT_EQ(partials({QStringLiteral("--older-than"), QStringLiteral("7d"), QStringLiteral("--remove")}), 0)
        << m_err;
    EXPECT_EQ(m_err, "1 partial copy of 3.0 MiB removed\n");
    EXPECT_THAT(m_out, HasSubstr(m_old.toStdString()));
    EXPECT_FALSE(QFile::exists(m_old));
    EXPECT_TRUE(QFile::exists(m_middling));
    EXPECT_TRUE(QFile::exists(m_fresh));
    EXPECT_TRUE(m_directory.exists(QStringLiteral("in/plain")));
}

TEST_F(PartialsTest, AreNotRemovedWithoutAnAgeOfAnHour)
{
    EXPECT_EQ(partials({QStringLiteral("--remove")}), ExitStatus::usage);
    EXPECT_THAT(m_err, HasSubstr("--remove needs --older-than, of an hour at least"));
    EXPECT_EQ(partials({QStringLiteral("--remove"), QStringLiteral("--older-than"), QStringLiteral("59m")}),
              ExitStatus::usage);
    EXPECT_TRUE(QFile::exists(m_old));
}

TEST_F(PartialsTest, AreToldAsEvents)
{
    EXPECT_EQ(partials({QStringLiteral("--older-than"), QStringLiteral("7d"), QStringLiteral("--json")}), 0);
    const QStringList lines = QString::fromStdString(m_out).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 3) << m_out;
    const QJsonObject event = QJsonDocument::fromJson(lines[1].toUtf8()).object();
    EXPECT_EQ(event.value(QStringLiteral("event")).toString().toStdString(), "partial");
    EXPECT_EQ(event.value(QStringLiteral("path")).toString(), m_old);
    EXPECT_EQ(event.value(QStringLiteral("size")).toInt(), 3 << 20);
    EXPECT_GE(event.value(QStringLiteral("age")).toInt(), 31 * day);
    EXPECT_FALSE(event.value(QStringLiteral("removed")).toBool(true));
    EXPECT_EQ(counted("partials"), 1);
    EXPECT_EQ(counted("partialBytes"), 3 << 20);
    EXPECT_EQ(counted("exitCode"), 0);
}

TEST_F(PartialsTest, AreNotLookedForInAFile)
{
    EXPECT_EQ(run({QStringLiteral("partials"), m_directory.path(QStringLiteral("in/plain"))}),
              ExitStatus::usage);
    EXPECT_THAT(m_err, HasSubstr("in/plain is not a directory"));
}

} // namespace
