#include "tests/support/udt_ports.h"

#include <QtCore/QCoreApplication>

#include <gmock/gmock.h>

// The main function of every test program.
int main(int argc, char **argv)
{
    testing::InitGoogleMock(&argc, argv);
    const QCoreApplication application(argc, argv);
    UDT::startup();
    VESK::Test::openUdtPorts();
    const int result = RUN_ALL_TESTS();
    UDT::cleanup();
    return result;
}
