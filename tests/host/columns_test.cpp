#include "host/columns.h"

#include "tests/support/qt_text.h"

#include <gmock/gmock.h>

using namespace VESK::Host;

namespace
{

TEST(ColumnsTest, CountsWideCharactersTwiceAndMarksNotAtAll)
{
    EXPECT_EQ(columnsOf(QStringLiteral("plain")), 5);
    EXPECT_EQ(columnsOf(QString::fromUtf8("u\u0308ber")), 4);
    EXPECT_EQ(columnsOf(QString::fromUtf8("\u6587\u4ef6")), 4);
    EXPECT_EQ(columnsOf(QString::fromUtf8("\U0001f600")), 2);
    EXPECT_EQ(columnsOf(QString::fromUtf8("\U0001d11e")), 1);
    EXPECT_EQ(columnsOf(QString()), 0);
}

TEST(ColumnsTest, KeepsBothEndsOfWhatIsTooLong)
{
    EXPECT_EQ(fitted(QStringLiteral("name"), 4), QStringLiteral("name"));
    EXPECT_EQ(fitted(QStringLiteral("directory/file.raw"), 9), QString::fromUtf8("dire\u2026.raw"));
    EXPECT_EQ(fitted(QStringLiteral("name"), 1), QString::fromUtf8("\u2026"));
}

TEST(ColumnsTest, NeverExceedsTheWidth)
{
    const QString names[] = {QString(100, QLatin1Char('n')), QString::fromUtf8("\u6587\u4ef6").repeated(30),
                             QString::fromUtf8("e\u0301").repeated(40)};
    for (const QString &name : names) {
        for (int width = 1; width < 40; ++width) {
            EXPECT_LE(columnsOf(fitted(name, width)), width) << qPrintable(name);
            EXPECT_EQ(columnsOf(filled(name, width)), width) << qPrintable(name);
        }
    }
}

} // namespace
