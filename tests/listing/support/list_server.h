#pragma once

#include "tests/listing/support/staged_handler.h"
#include "tests/operation/support/operation_test.h"

#include <QtCore/QDir>
#include <QtCore/QTextCodec>

#include <sys/stat.h>
#include <unistd.h>

namespace VESK::Test
{

/// A server's handler that lists, and a client that hears what it says.
class ListServerTest : public ServerTest
{
protected:
    ListServerTest()
    {
        QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8")); // file names, whatever the locale
        EXPECT_TRUE(dir.mkdir("mount/area/root"));
    }

    static ParamMap taskFor(const QString &srcPath)
    {
        ParamMap map = taskParam("list");
        map.insert("srcPath", srcPath);
        return map;
    }

    /// Asks for a listing and hears it to its last message. Ends early when a message does not come.
    QList<ParamMap> batchesOf(const QString &srcPath)
    {
        const RunningTask task = start();
        EXPECT_TRUE(peer.sendMap(MessageKind::TaskParam, taskFor(srcPath)));
        EXPECT_EQ(peer.recvMap(MessageKind::TaskParamAck), (ParamMap{{"ackRespond", "true"}}));
        QList<ParamMap> batches;
        bool last = false;
        while (!last) {
            const std::optional<ParamMap> batch = peer.recvMap(MessageKind::ListContent);
            if (!batch) {
                ADD_FAILURE() << "no message after " << batches.size();
                return batches;
            }
            batches += *batch;
            last = batch->value("bLast") == "true";
        }
        EXPECT_EQ(task.result(), true);
        EXPECT_EQ(param("respondStatus"), "success");
        EXPECT_TRUE(nothingElseCame(handler(), peer));
        return batches;
    }

    /// The names of a whole listing, without the marks.
    ParamMap listingOf(const QString &srcPath)
    {
        ParamMap names;
        for (const ParamMap &batch : batchesOf(srcPath))
            for (auto entry = batch.cbegin(); entry != batch.cend(); ++entry) {
                EXPECT_FALSE(names.contains(entry.key()) && entry.key() != "bLast")
                    << entry.key().toStdString() << " twice";
                names.insert(entry.key(), entry.value());
            }
        names.remove("bLast");
        return names;
    }

    void write(const QString &name) const { ASSERT_TRUE(dir.write(stored(name), "x")); }
    void mkdir(const QString &name) const { ASSERT_TRUE(dir.mkdir(stored(name))); }

    /// A symbolic link at `name` with `text` in it.
    void link(const QString &text, const QString &name) const
    {
        ASSERT_EQ(::symlink(text.toUtf8().constData(), storedPath(name).toUtf8().constData()), 0);
    }

    /// A directory with `count` names of one empty file: links are made much faster than files.
    void writeFiles(const QString &directory, int count) const
    {
        mkdir(directory);
        const QByteArray base = storedPath(directory + "/file").toUtf8();
        for (int i = 0; i < count; ++i) {
            if (i == 0) {
                ASSERT_TRUE(dir.write(stored(directory + "/file0"), QByteArray()));
                continue;
            }
            ASSERT_EQ(::link((base + '0').constData(), (base + QByteArray::number(i)).constData()), 0);
        }
    }
};

} // namespace VESK::Test
