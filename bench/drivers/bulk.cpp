// Moves one file over fresh connections: by the library's own calls, and as tasks.
// Usage: bench_bulk FILE TARGET_DIRECTORY ROUNDS; prints seconds.

#include "bench/drivers/connection.h"
#include "bench/drivers/stopwatch.h"
#include "bench/drivers/task.h"
#include "transport/udt_library.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#include <cstdlib>
#include <fstream>
#include <thread>

using namespace VESK;
using namespace VESK::Bench;

namespace
{

constexpr int sendBlock = 364000; // bytes; as the library has it by default
constexpr int receiveBlock = 20 * sendBlock;

struct Files {
    QString source;
    QString directory; // of the target
    qint64 size;

    QString target() const { return QDir(directory).filePath(QFileInfo(source).fileName()); }
};

double bare(const Files &files, Options options)
{
    const Connection connection(options);
    const Stopwatch watch;
    std::thread receiving([&] {
        std::fstream out(files.target().toStdString(), std::ios::out | std::ios::binary | std::ios::trunc);
        std::int64_t position = 0;
        if (UDT::recvfile(connection.server(), out, position, files.size, receiveBlock) != files.size)
            std::exit(1);
        out.close();
        const char done = 1;
        (void)UDT::send(connection.server(), &done, 1, 0); // the other end fails when it does not come
    });
    std::fstream in(files.source.toStdString(), std::ios::in | std::ios::binary);
    std::int64_t position = 0;
    char done = 0;
    const bool isSent = UDT::sendfile(connection.client(), in, position, files.size, sendBlock) == files.size
        && UDT::recv(connection.client(), &done, 1, 0) == 1;
    receiving.join();
    if (!isSent)
        std::exit(1);
    return watch.seconds();
}

double task(const Files &files, Options options, const char *verifyMode)
{
    const Connection connection(options);
    const QFileInfo source(files.source);
    return upload(
        connection,
        {source.absolutePath(), source.fileName(), files.directory, QString::fromLatin1(verifyMode)});
}

template <typename Measure>
void measure(const char *name, const Files &files, const Measure &seconds)
{
    (void)QFile::remove(files.target()); // absent before the first
    report(name, seconds());
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 4)
        return 2;
    const QString source = QString::fromLocal8Bit(argv[1]);
    const Files files{source, QString::fromLocal8Bit(argv[2]), QFileInfo(source).size()};
    const UdtLibrary library;
    for (int round = 0; round < std::atoi(argv[3]); ++round) {
        measure("bare", files, [&] { return bare(files, Options::Ours); });
        measure("task_none", files, [&] { return task(files, Options::Ours, "false"); });
        measure("task_xxh128", files, [&] { return task(files, Options::Ours, "xxh128"); });
        measure("bare_library_options", files, [&] { return bare(files, Options::Library); });
    }
    (void)QFile::remove(files.target()); // of no more use
    return 0;
}
