// Lists a tree over loopback, side by side with the same walk by QDir alone.
// Usage: bench_listing DIRECTORY ROUNDS; prints seconds, and the number of names.

#include "bench/drivers/connection.h"
#include "bench/drivers/stopwatch.h"
#include "bench/drivers/task.h"
#include "transport/udt_library.h"

#include <QtCore/QDir>
#include <QtCore/QQueue>

#include <cstdlib>
#include <thread>

using namespace VESK;
using namespace VESK::Bench;

namespace
{

qint64 walk(const QString &top)
{
    qint64 names = 0;
    QQueue<QString> waiting;
    waiting.enqueue(top);
    while (!waiting.isEmpty()) {
        const QFileInfoList entries =
            QDir(waiting.dequeue()).entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::NoSort);
        for (const QFileInfo &entry : entries) {
            if (entry.isFile()) {
                ++names;
            } else if (entry.isDir()) {
                ++names;
                waiting.enqueue(entry.filePath());
            }
        }
    }
    return names;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3)
        return 2;
    const QString top = QString::fromLocal8Bit(argv[1]);
    const UdtLibrary library;
    const Connection connection(Options::Ours);
    for (int round = 0; round < std::atoi(argv[2]); ++round) {
        // On a thread of its own, as the task's walk is: the main thread's memory is managed in another way.
        qint64 walked = 0;
        const Stopwatch watch;
        std::thread([&] { walked = walk(top); }).join();
        report("walk", watch.seconds());
        qint64 listed = 0;
        report("list", list(connection, top, [&](const ParamMap &batch) { listed += batch.size(); }));
        if (listed != walked)
            return 1;
        report("names", static_cast<double>(listed));
    }
    return 0;
}
