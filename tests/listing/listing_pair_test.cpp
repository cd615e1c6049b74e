#include "tests/operation/support/operation_test.h"

#include <QtCore/QSet>

#include <unistd.h>

using namespace VESK;
using namespace VESK::Test;

namespace
{

/// A client's handler against a server's handler.
class ListingPair : public ServerTest
{
protected:
    ListingPair()
    {
        for (const auto &[key, value] : {std::pair<QString, QString>{"endPoint", "client"},
                                         {"clientSocket", QString::number(pair.client())},
                                         {"operator", "list"},
                                         {"srcPath", "d"},
                                         {"rootPath", "root"},
                                         {"appKey", "app"}})
            EXPECT_TRUE(client.setParam(key, value));
        QObject::connect(&client, &VeskBase::sigList, [this](const ParamMap &batch) {
            ++batches;
            for (auto entry = batch.cbegin(); entry != batch.cend(); ++entry)
                names.insert(entry.key(), entry.value());
        });
    }

    void list()
    {
        const RunningTask server = start();
        EXPECT_TRUE(client.process());
        EXPECT_EQ(server.result(), true);
    }

    /// `count` names of one empty file: links are made much faster than files.
    void writeFiles(const QString &directory, int count) const
    {
        ASSERT_TRUE(dir.write(stored(directory + "/f0"), QByteArray()));
        const QByteArray base = storedPath(directory + "/f").toUtf8();
        for (int i = 1; i < count; ++i)
            ASSERT_EQ(::link((base + '0').constData(), (base + QByteArray::number(i)).constData()), 0);
    }

    VeskHandler2_0_0 client;
    ParamMap names;
    int batches = 0;
};

TEST_F(ListingPair, CarriesATreeOfAHundredThousandNames)
{
    constexpr int directories = 100;
    constexpr int files = 999; // and the directory itself
    for (int i = 0; i < directories; ++i)
        writeFiles("d/dir" + QString::number(i), files);
    list();
    EXPECT_EQ(names.size(), directories * (files + 1));
    EXPECT_EQ(batches, 991) << "100 names, 989 times 101, and the rest";
    EXPECT_EQ(names.value("/dir99/f998"), "file");
    EXPECT_EQ(names.value("/dir0"), "dir");
}

TEST_F(ListingPair, CarriesADirectoryOfManyNames)
{
    writeFiles("d", 10000);
    list();
    EXPECT_EQ(names.size(), 10000);
    EXPECT_EQ(QSet<QString>(names.begin(), names.end()), QSet<QString>{"file"});
}

TEST_F(ListingPair, AMissingDirectoryEndsBothSidesWhenTheHostCloses)
{
    const Background asking([&] { return client.process(); });
    const RunningTask server = start();
    EXPECT_EQ(server.result(), false);
    EXPECT_FALSE(handler().hasSent(MessageKind::TaskParamAck)) << "the host sees that the client still waits";
    pair.closeServer();
    EXPECT_EQ(asking.wait(patience), false);
    EXPECT_EQ(log.lines(&client), QStringList{"error|listRequest: recv TaskParamAck failed."});
    EXPECT_EQ(names, ParamMap());
}

} // namespace
