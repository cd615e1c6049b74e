#include "tests/support/qt_text.h"

#include "vesk_base/vesk_base.h"

#include <gtest/gtest.h>

#include <QtCore/QThread>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <thread>

using namespace VESK;
using namespace VESK::Test;

namespace
{

const ParamMap batch{{"dir"_s, "dir"_s}, {"dir/file"_s, "file"_s}};

/// What a host has: an object with a slot.
class Receiver : public QObject
{
    Q_OBJECT

public:
    ParamMap received;
    QThread *thread = nullptr;

public Q_SLOTS:
    void take(const QMap<QString, QString> &map)
    {
        received = map;
        thread = QThread::currentThread();
    }
};

TEST(SigList, ReachesConnectionsMadeByText)
{
    VeskBase handler;
    Receiver receiver;
    ASSERT_TRUE(QObject::connect(&handler, SIGNAL(sigList(QMap<QString, QString>)), &receiver,
                                 SLOT(take(QMap<QString, QString>))));
    Q_EMIT handler.sigList(batch);
    EXPECT_EQ(receiver.received, batch);
}

TEST(SigList, ReachesConnectionsMadeByPointer)
{
    VeskBase handler;
    Receiver receiver;
    ASSERT_TRUE(QObject::connect(&handler, &VeskBase::sigList, &receiver, &Receiver::take));
    Q_EMIT handler.sigList(batch);
    EXPECT_EQ(receiver.received, batch);
}

TEST(SigList, ReachesAnotherThreadThroughItsQueue)
{
    VeskBase handler;
    Receiver receiver;
    ASSERT_TRUE(QObject::connect(&handler, SIGNAL(sigList(QMap<QString, QString>)), &receiver,
                                 SLOT(take(QMap<QString, QString>))));
    std::thread([&] { Q_EMIT handler.sigList(batch); }).join();
    EXPECT_TRUE(receiver.received.isEmpty()); // queued, so not before this thread looks
    EXPECT_TRUE(QTest::qWaitFor([&] { return !receiver.received.isEmpty(); }, 10000));
    EXPECT_EQ(receiver.received, batch);
    EXPECT_EQ(receiver.thread, QThread::currentThread());
}

TEST(SigList, IsSeenBySpies)
{
    VeskBase handler;
    QSignalSpy spy(&handler, &VeskBase::sigList);
    Q_EMIT handler.sigList(batch);
    Q_EMIT handler.sigList({});
    ASSERT_EQ(spy.count(), 2);
    EXPECT_EQ(spy[0][0].value<ParamMap>(), batch);
    EXPECT_EQ(spy[1][0].value<ParamMap>(), ParamMap());
}

} // namespace

#include "sig_list_test.moc"
