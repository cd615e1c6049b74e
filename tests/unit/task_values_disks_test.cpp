#include "tests/faults/support/small_disk.h"
#include "tests/support/memory_cache.h"
#include "tests/support/settled_file.h"
#include "tests/support/temp_dir.h"

#include "vesk_base/paths.h"

#include <gtest/gtest.h>

#include <QtCore/QFile>

// Two disks may number their files alike: nobody takes a file of the one for that of the other.

using namespace VESK;
using namespace VESK::Test;

namespace
{

class TwoDisks : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!SmallDisk::obstacle().isEmpty())
            GTEST_SKIP() << "no file system can be mounted here: " << SmallDisk::obstacle().toStdString();
        for (const QString &disk : {"one"_s, "two"_s}) {
            ASSERT_TRUE(directory.mkdir(disk));
            disks.push_back(std::make_unique<SmallDisk>(directory.path(disk), 1, 1));
            ASSERT_TRUE(disks.back()->isMounted());
            QFile file(partial(disk));
            ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write("text") == 4);
            file.close();
            setModificationTime(partial(disk), 1234567890 * oneSecond);
        }
        if (readFileState(partial("one"_s))->inode != readFileState(partial("two"_s))->inode)
            GTEST_SKIP() << "this system numbers the files of all disks in one row";
    }

    QString partial(const QString &disk) const { return temporaryPath(directory.path(disk + "/file"_s)); }

    const TempDir directory{};
    std::vector<std::unique_ptr<SmallDisk>> disks;
};

TEST_F(TwoDisks, AValueIsNotThatOfTheOtherDisksFile)
{
    const InstalledCache<> cache;
    VeskBase handler;
    EXPECT_FALSE(handler.getFileVerifyValue(partial("one"_s), "xxh128"_s).isEmpty());
    EXPECT_TRUE(handler.values().isUnchanged(partial("one"_s)));
    EXPECT_FALSE(handler.values().isUnchanged(partial("two"_s)));
    handler.values().keepFor(partial("two"_s));
    EXPECT_EQ(cache->stores(), 0);
}

} // namespace
