// Uploads small files one after another over one open connection over loopback.
// Usage: bench_small_files DIRECTORY COUNT MODE SIZE...; prints the seconds of each task as "BYTES SECONDS".

#include "bench/drivers/connection.h"
#include "bench/drivers/stopwatch.h"
#include "bench/drivers/task.h"
#include "transport/udt_library.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <cstdlib>

using namespace VESK;
using namespace VESK::Bench;

namespace
{

bool writeFile(const QString &path, int size, int number)
{
    QFile file(path);
    QByteArray content(size, 'x');
    content.replace(0, qMin(size, 8), QByteArray::number(number, 16).leftJustified(qMin(size, 8)));
    return file.open(QIODevice::WriteOnly) && file.write(content) == size;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 5)
        return 2;
    const QDir directory(QString::fromLocal8Bit(argv[1]));
    const QString source = directory.filePath(QStringLiteral("source"));
    const QString target = directory.filePath(QStringLiteral("target"));
    (void)directory.mkpath(source); // writing fails when it is not there
    (void)directory.mkpath(target); // as above
    const QString mode = QString::fromLocal8Bit(argv[3]);
    const UdtLibrary library;
    const Connection connection(Options::Ours);
    int number = 0;
    for (int i = 0; i < std::atoi(argv[2]); ++i) {
        for (int argument = 4; argument < argc; ++argument) { // in turn, so that all meet the same weather
            const QString name = QStringLiteral("file%1").arg(++number);
            if (!writeFile(QDir(source).filePath(name), std::atoi(argv[argument]), number))
                return 1;
            report(argv[argument], upload(connection, {source, name, target, mode}));
        }
    }
    return 0;
}
