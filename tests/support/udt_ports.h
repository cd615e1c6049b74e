#pragma once

#include <udt/udt.h>

namespace VESK::Test
{

/// The two UDP ports of a test program, both on 127.0.0.1 and both bound until the process ends: one
/// that all clients share and one with a listener. A port that dies while other threads open sockets
/// can freeze the library, and every port of its own costs two threads.
///
/// Called once, by the test main, after UDT::startup.
void openUdtPorts();

/// A new unconnected socket on the client port, linger off. INVALID_SOCK when there is none to be had.
UDTSOCKET newClientSocket();

/// A socket on the client port, connected to `address`, an IPv4 address. Tries again when a connect fails by
/// chance, with a new socket each time: the library falls over what it remembers of an attempt once its
/// socket is used again or gone, so that those of failed attempts stay open. INVALID_SOCK when nobody
/// answers.
UDTSOCKET newConnection(const sockaddr *address);

/// The listening socket; whatever it accepts has its linger off.
UDTSOCKET listener();

/// The listener's address, for UDT::connect.
const sockaddr *listenerAddress();

} // namespace VESK::Test
