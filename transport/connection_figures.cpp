#include "transport/connection_figures.h"

namespace VESK
{

double roundTripMs(UDTSOCKET socket)
{
    UDT::TRACEINFO info{};
    return UDT::perfmon(socket, &info, false) == UDT::ERROR ? -1 : info.msRTT;
}

qint64 repeatedPackets(UDTSOCKET socket)
{
    UDT::TRACEINFO info{};
    return UDT::perfmon(socket, &info, false) == UDT::ERROR ? -1 : info.pktRetransTotal;
}

} // namespace VESK
