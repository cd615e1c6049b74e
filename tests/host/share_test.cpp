#include "host/server/share.h"

#include "tests/support/qt_text.h"

#include <QtCore/QDir>

#include <gmock/gmock.h>

using namespace VESK::Host;
using namespace VESK::Test;

namespace
{

std::optional<Share> parse(const QString &text)
{
    QString error;
    const std::optional<Share> share = parseShare(text, &error);
    EXPECT_EQ(share.has_value(), error.isEmpty()) << qPrintable(text) << qPrintable(error);
    return share;
}

struct Case {
    QString text;
    QString name;
    QString directory;
    QString rights;
};

TEST(ParseShareTest, ReadsNameDirectoryAndRights)
{
    for (const Case &wanted : {
             Case{"in=/srv/in"_s, "in"_s, "/srv/in"_s, "rw"_s},
             Case{"in=/srv/in:r"_s, "in"_s, "/srv/in"_s, "r"_s},
             Case{"in=/srv/in:w"_s, "in"_s, "/srv/in"_s, "w"_s},
             Case{"in=/srv/in/:rw"_s, "in"_s, "/srv/in"_s, "rw"_s},
             Case{"a b=/srv/c=d"_s, "a b"_s, "/srv/c=d"_s, "rw"_s},
             Case{"in=/srv/a:r:w"_s, "in"_s, "/srv/a:r"_s, "w"_s},
             Case{"in=/srv/a:b"_s, "in"_s, "/srv/a:b"_s, "rw"_s},
             Case{"here=."_s, "here"_s, QDir::currentPath(), "rw"_s},
         }) {
        const std::optional<Share> share = parse(wanted.text);
        ASSERT_TRUE(share) << qPrintable(wanted.text);
        EXPECT_EQ(share->name, wanted.name);
        EXPECT_EQ(share->directory, wanted.directory);
        EXPECT_EQ(rightsText(share->rights), wanted.rights);
    }
}

TEST(ParseShareTest, RefusesWhatIsNoShare)
{
    for (const QString &text : {QString(), "in"_s, "=/srv"_s, "in="_s, "a/b=/srv"_s, "a:b=/srv"_s,
                                "a%b=/srv"_s, ".=/srv"_s, "..=/srv"_s, "a\nb=/srv"_s, "a\\b=/srv"_s})
        EXPECT_FALSE(parse(text)) << qPrintable(text);
}

} // namespace
