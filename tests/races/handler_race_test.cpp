#include "tests/races/race_task.h"

#include "vesk_base/module.h"

#include <QtCore/QSet>
#include <QtCore/QThread>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <vector>

// What several threads of a host do at once, away from pause and cancel.

using namespace VESK;
using namespace VESK::Test;

namespace
{

constexpr int threads = 4;
constexpr int fileSize = 2000000; // bytes

/// Does ThreadSanitizer watch? Qt is not built with it, so that it does not see how Qt's queue of events
/// orders threads, and reports everything that travels through it.
#ifdef __SANITIZE_THREAD__
constexpr bool eventsLookLikeRaces = true;
#else
constexpr bool eventsLookLikeRaces = false;
#endif

/// A thread with an event loop, ended and joined with the scope.
class EventThread
{
public:
    EventThread() { m_thread.start(); }
    ~EventThread()
    {
        m_thread.quit();
        m_thread.wait();
    }
    EventThread(const EventThread &) = delete;
    EventThread &operator=(const EventThread &) = delete;

    QThread *thread() { return &m_thread; }

private:
    QThread m_thread;
};

/// A consumer of listings that lives on a thread of its own.
class Consumer : public QObject
{
public:
    explicit Consumer(QThread *thread) { moveToThread(thread); }

    void consume(VeskBase &client)
    {
        QObject::connect(
            &client, &VeskBase::sigList, this,
            [this](const ParamMap &batch) {
                if (QThread::currentThread() != thread())
                    strayed = true;
                for (auto entry = batch.cbegin(); entry != batch.cend(); ++entry)
                    ++names;
            },
            Qt::QueuedConnection);
    }

    std::atomic<int> names{0};
    std::atomic<bool> strayed{false};
};

/// Hands batches on, from the threads of tasks to one that takes them.
class BatchQueue
{
public:
    void put(const ParamMap &batch)
    {
        const std::lock_guard lock(m_mutex);
        m_batches.push_back(batch);
        m_filled.notify_one();
    }

    ParamMap take()
    {
        std::unique_lock lock(m_mutex);
        m_filled.wait(lock, [this] { return !m_batches.empty(); });
        ParamMap batch = std::move(m_batches.front());
        m_batches.pop_front();
        return batch;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_filled;
    std::deque<ParamMap> m_batches;
};

/// One task between two plain handlers on a connection of its own.
struct Task {
    explicit Task(const QString &operation)
        : files(operation)
    {
        files.prepare(pattern(fileSize));
        files.configureClient(client, pair);
        files.configureServer(server, pair);
    }

    RaceTask files;
    UdtPair pair;
    VeskHandler2_0_0 client;
    VeskHandler2_0_0 server;
};

/// Creates handlers, sets them up, runs them without a connection, and destroys them.
bool useHandlers(const Module &module)
{
    for (int i = 0; i < 200; ++i) {
        const Module::Handler handler = module.createHandler();
        handler->setParams({{"endPoint", i % 2 == 0 ? "client" : "server"}, {"operator", "list"}});
        if (handler->getKey() != "VESK-2.0.0" || handler->process() || !handler->getLastError().isEmpty())
            return false;
    }
    return true;
}

TEST(HandlerRace, HandlersComeAndGoOnManyThreads)
{
    const LogRecorder log;
    QString error;
    const auto module = Module::load(VESK_MODULE_PATH, &error);
    ASSERT_TRUE(module) << error.toStdString();
    const auto use = [&module] { return useHandlers(*module); };
    std::deque<Background<decltype(use)>> users;
    for (int i = 0; i < threads; ++i)
        users.emplace_back(use);
    for (const auto &user : users)
        EXPECT_EQ(user.wait(patience), true);
}

TEST(HandlerRace, AListingReachesAConsumerOnAnotherThread)
{
    if (eventsLookLikeRaces)
        GTEST_SKIP() << "Qt's queue of events is invisible to ThreadSanitizer";
    const LogRecorder log;
    EventThread loop;
    Consumer consumer(loop.thread());
    std::deque<Task> tasks;
    std::deque<RunningTask> running;
    for (int i = 0; i < threads; ++i) {
        Task &task = tasks.emplace_back("list");
        consumer.consume(task.client);
        running.emplace_back(task.server, task.pair);
        running.emplace_back(task.client, task.pair);
    }
    for (const RunningTask &task : running)
        EXPECT_EQ(task.result(), true);
    const int expected = threads * (RaceTask::listedFiles + RaceTask::listedDirectories);
    EXPECT_TRUE(eventually([&] { return consumer.names == expected; })) << consumer.names;
    EXPECT_FALSE(consumer.strayed);
}

TEST(HandlerRace, ABatchMayBeHandedOnToAnotherThread)
{
    const LogRecorder log;
    BatchQueue queue;
    std::deque<Task> tasks;
    std::deque<RunningTask> running;
    constexpr int expected = threads * (RaceTask::listedFiles + RaceTask::listedDirectories);
    const Background consumer([&] {
        QSet<QString> names;
        for (int taken = 0; taken < expected;) {
            const ParamMap batch = queue.take();
            taken += batch.size();
            for (auto entry = batch.cbegin(); entry != batch.cend(); ++entry)
                names.insert(entry.key());
        }
        return names.size();
    });
    for (int i = 0; i < threads; ++i) {
        Task &task = tasks.emplace_back("list");
        QObject::connect(
            &task.client, &VeskBase::sigList, &task.client,
            [&queue](const ParamMap &batch) { queue.put(batch); }, Qt::DirectConnection);
        running.emplace_back(task.server, task.pair);
        running.emplace_back(task.client, task.pair);
    }
    for (const RunningTask &task : running)
        EXPECT_EQ(task.result(), true);
    EXPECT_EQ(consumer.wait(patience), RaceTask::listedFiles + RaceTask::listedDirectories);
}

TEST(HandlerRace, AConsumerMayLeaveInTheMiddleOfAListing)
{
    if (eventsLookLikeRaces)
        GTEST_SKIP() << "Qt's queue of events is invisible to ThreadSanitizer";
    const LogRecorder log;
    for (int i = 0; i < 10; ++i) {
        Task task("list"); // outlives the thread, and so the consumer
        EventThread loop;
        auto *const consumer = new Consumer(loop.thread()); // deletes itself on its thread
        consumer->consume(task.client);
        const RunningTask serving(task.server, task.pair);
        const RunningTask asking(task.client, task.pair);
        consumer->deleteLater();
        EXPECT_EQ(asking.result(), true);
        EXPECT_EQ(serving.result(), true);
    }
}

/// Reads and writes parameters and status until told to stop; the number of turns.
int useParams(VeskHandler2_0_0 &handler, const std::atomic<bool> &enough)
{
    int turns = 0;
    while (!enough) {
        const QString turn = QString::number(++turns);
        ParamMap params;
        EXPECT_TRUE(handler.setParam("turn", turn));
        EXPECT_TRUE(handler.setParams({{"turn", turn}, {"half", QString::number(turns / 2)}}));
        EXPECT_EQ(handler.getParam("turn"), turn);
        EXPECT_TRUE(handler.getParams(params));
        EXPECT_TRUE(handler.getParams(QStringList{"turn", "transferEndSize"}, params));
        EXPECT_TRUE(handler.setParamInner("_turn", turn));
        EXPECT_EQ(handler.getParamInner("_turn"), turn);
        EXPECT_EQ(handler.getLastError(), "");
        EXPECT_EQ(handler.getStatus(), "");
        handler.setStatus(QString());
        (void)handler.getStream(); // the stream is the task's; asking for it is everybody's
    }
    return turns;
}

TEST(HandlerRace, ParametersAreReadAndWrittenWhileTasksRun)
{
    const LogRecorder log;
    for (const char *const operation : {"upload", "download", "list", "createDir"}) {
        SCOPED_TRACE(operation);
        Task task(operation);
        QSet<QString> names;
        task.files.collectNames(task.client, names);
        std::atomic<bool> enough{false};
        const Background writing([&] { return useParams(task.client, enough); });
        EXPECT_TRUE(eventually([&] { return !task.client.getParam("turn").isEmpty(); })) << "it never began";
        {
            const RunningTask serving(task.server, task.pair);
            const RunningTask requesting(task.client, task.pair);
            EXPECT_EQ(requesting.result(), true);
            EXPECT_EQ(serving.result(), true);
        }
        enough = true;
        const auto turns = writing.wait(patience);
        ASSERT_TRUE(turns);
        EXPECT_EQ(task.client.getParam("turn"), QString::number(*turns));
        EXPECT_TRUE(task.files.isDone(pattern(fileSize), names));
    }
}

TEST(HandlerRace, TheLogSinkIsReplacedWhileTasksLog)
{
    std::atomic<int> lines{0};
    std::atomic<bool> enough{false};
    const Background replacing([&] {
        while (!enough)
            VeskBase::setLogSink([&lines](const VeskBase *, const QString &, const QString &) { ++lines; });
    });
    ASSERT_TRUE(eventually([&] {
        VeskHandler2_0_0 handler;
        EXPECT_FALSE(handler.process()); // logs that it has no end point
        return lines > 200;
    }));
    enough = true;
    EXPECT_EQ(replacing.wait(patience), true);
    VeskBase::setLogSink({});
}

} // namespace
