#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <optional>
#include <thread>
#include <type_traits>
#include <utility>

namespace VESK::Test
{

/// A callable that runs on a thread of its own from construction on. One that returns nothing counts as
/// returning `true`.
///
///     Background task([&] { return handler.process(); });
///     ASSERT_EQ(task.wait(std::chrono::seconds(10)), true);
///
/// The end of its scope waits for the callable, half a minute at most; one that still runs then would use
/// objects that are going away, so the program ends with a message.
template <typename Callable> class Background
{
    using Returned = std::invoke_result_t<Callable>;

public:
    using Result = std::conditional_t<std::is_void_v<Returned>, bool, Returned>;

    explicit Background(Callable callable)
        : m_task(std::packaged_task<Result()>([work = std::move(callable)]() mutable -> Result {
            if constexpr (!std::is_void_v<Returned>)
                return work();
            else
                return work(), true;
        }))
        , m_future(m_task.get_future().share())
        , m_thread([this] { m_task(); })
    {
    }

    ~Background()
    {
        if (m_future.wait_for(std::chrono::seconds(30)) != std::future_status::ready) {
            std::fputs("A background task of this test does not end.\n", stderr);
            std::abort();
        }
        m_thread.join();
    }

    Background(const Background &) = delete;
    Background &operator=(const Background &) = delete;

    /// What the callable returned, or nothing when it still runs after `limit`. Throws what it threw. May
    /// be called again.
    std::optional<Result> wait(std::chrono::milliseconds limit) const
    {
        if (m_future.wait_for(limit) != std::future_status::ready)
            return std::nullopt;
        return m_future.get();
    }

private:
    std::packaged_task<Result()> m_task;
    const std::shared_future<Result> m_future;
    std::thread m_thread;
};

} // namespace VESK::Test
