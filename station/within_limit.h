#pragma once

/// Calls that may hang.

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

namespace vandrel::station {

/// Calls `make` on a thread of its own and returns its result; nothing if that takes longer than
/// `limit`. The thread then goes on, and its result is dropped. `make` does not throw.
template<class Result>
std::optional<Result> within_limit(std::chrono::milliseconds limit, std::function<Result()> make) {
    struct answer {
        std::mutex mutex;
        std::condition_variable changed;
        std::optional<Result> made;
    };
    const auto said = std::make_shared<answer>();
    std::thread thread([said, make = std::move(make)] {
        Result made = make();
        const std::lock_guard lock(said->mutex);
        said->made = std::move(made);
        said->changed.notify_all();
    });
    std::unique_lock lock(said->mutex);
    if (!said->changed.wait_for(lock, limit, [&said] { return said->made.has_value(); })) {
        thread.detach();
        return std::nullopt;
    }
    lock.unlock();
    // Not detached from the start: on Windows, a detached thread that soon ended made the wait for
    // it, or for the next one, last for the whole limit now and then.
    thread.join();
    return std::move(said->made);
}

} // namespace vandrel::station
