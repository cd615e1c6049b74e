#include "tests/support/udt_ports.h"

#include <QtCore/QCoreApplication>

#include <gmock/gmock.h>

// The main function of every test program.
int main(int argc, char **argv)
{
    testing::InitGoogleMock(&argc, argv);
    const QCoreApplication application(argc, argv);
    // Names need no sockets, and the build asks each program for them: a sanitizer that has something to say
    // about the library's threads must not say it there.
    if (testing::GTEST_FLAG(list_tests))
        return RUN_ALL_TESTS();

    UDT::startup();
    VESK::Test::openUdtPorts();
    const int result = RUN_ALL_TESTS();
    UDT::cleanup();
    return result;
}
