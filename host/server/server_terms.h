#pragma once

#include "host/hello/server_hello.h"
#include "host/server/server_settings.h"

#include <memory>
#include <mutex>

namespace VESK::Host
{

/// What a server offers at a moment, and on what terms. Never changed: new ones take its place.
struct ServerTerms {
    ServerSettings settings;
    HelloTerms hello;
};

/// The terms that hold now. Whoever has taken some may go on by them, as long as it is at one task. Any
/// thread.
class CurrentTerms
{
public:
    explicit CurrentTerms(ServerTerms terms) { set(std::move(terms)); }

    std::shared_ptr<const ServerTerms> get() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_terms;
    }

    void set(ServerTerms terms)
    {
        auto next = std::make_shared<const ServerTerms>(std::move(terms));
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_terms = std::move(next);
    }

private:
    mutable std::mutex m_mutex; // guards m_terms
    std::shared_ptr<const ServerTerms> m_terms;
};

} // namespace VESK::Host
