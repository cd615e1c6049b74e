// The verification value of a file, side by side with the same hash by a program given on the command line.
// Usage: bench_verify FILE MODE ROUNDS PROGRAM [ARGUMENT...]; FILE is added. Prints seconds.

#include "bench/drivers/stopwatch.h"
#include "vesk_base/verify_value.h"

#include <QtCore/QProcess>

#include <cstdlib>

using namespace VESK;
using namespace VESK::Bench;

int main(int argc, char **argv)
{
    if (argc < 5)
        return 2;
    const QString file = QString::fromLocal8Bit(argv[1]);
    const QString mode = QString::fromLocal8Bit(argv[2]);
    QStringList arguments;
    for (int i = 5; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    arguments.append(file);
    for (int round = 0; round < std::atoi(argv[3]); ++round) {
        const Stopwatch ours;
        if (fileVerifyValue(file, mode).isEmpty())
            return 1;
        report("value", ours.seconds());
        const Stopwatch theirs;
        QProcess program;
        program.start(QString::fromLocal8Bit(argv[4]), arguments);
        if (!program.waitForFinished(-1) || program.exitCode() != 0)
            return 1;
        report("program", theirs.seconds());
    }
    return 0;
}
