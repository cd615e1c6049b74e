#pragma once

#include <udt/udt.h>

namespace VESK
{

/// Sets one UDT option of a socket for a scope and puts the old value back at its end.
///
/// Use it only on the thread that makes the socket's bulk calls: setting any option waits for a bulk call
/// that runs on the socket. A socket that is closed or broken is left alone, without an error.
template <typename Value>
class ScopedSocketOption
{
public:
    ScopedSocketOption(UDTSOCKET socket, UDTOpt option, const Value &value)
        : m_socket(socket)
        , m_option(option)
    {
        int size = sizeof(Value);
        m_known = UDT::getsockopt(m_socket, 0, m_option, &m_old, &size) != UDT::ERROR;
        if (m_known)
            (void)UDT::setsockopt(m_socket, 0, m_option, &value, sizeof(Value)); // see above
    }

    ~ScopedSocketOption()
    {
        if (m_known) // by now the socket may be gone, and with it the need
            (void)UDT::setsockopt(m_socket, 0, m_option, &m_old, sizeof(Value));
    }

    ScopedSocketOption(const ScopedSocketOption &) = delete;
    ScopedSocketOption &operator=(const ScopedSocketOption &) = delete;

    /// The value that the host had set, or `fallback` when it could not be read.
    Value oldValue(const Value &fallback) const { return m_known ? m_old : fallback; }

private:
    const UDTSOCKET m_socket;
    const UDTOpt m_option;
    Value m_old{};
    bool m_known = false;
};

} // namespace VESK
