#include "host/program.h"
#include "host/signals.h"
#include "host/standard_streams.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QTextCodec>

int main(int argc, char **argv)
{
    using namespace VESK::Host;
    occupyStandardStreams();
    holdSignals();
    QCoreApplication application(argc, argv);
    // File names are bytes, and theirs are taken as UTF-8 whatever the locale: services often have none.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    return runProgram(argc, argv);
}
