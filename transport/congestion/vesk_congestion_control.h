#pragma once

#include "transport/congestion/receiving_end.h"
#include "transport/congestion/sending_end.h"

#include <udt/ccc.h>

#include <mutex>

namespace VESK
{

class CongestionTrace;

/// The congestion control of a connection, for both of its directions: the library calls it when packets
/// leave and arrive. The receiving half tells the peer what has arrived and what is missing; the sending half
/// paces by what the peer tells. docs/congestion.md explains it. Set it with `setCongestionControl`.
class VeskCongestionControl : public CCC
{
public:
    VeskCongestionControl();
    ~VeskCongestionControl() override;

    void init() override;
    void onACK(int32_t next) override;
    void onLoss(const int32_t *words, int count) override;
    void onTimeout() override;
    void onPktSent(const CPacket *packet) override;
    void onPktReceived(const CPacket *packet) override;
    void processCustomMsg(const CPacket *packet) override;

private:
    void update();
    void sendControl(int type, std::int32_t *words, std::size_t count) const;

    ReceivingEnd m_receiver; // used by the thread only that receives for the port
    std::mutex m_mutex; // guards m_sender, which the port's sending thread uses, too
    SendingEnd m_sender;
    int m_ackInterval = 0;
};

} // namespace VESK
