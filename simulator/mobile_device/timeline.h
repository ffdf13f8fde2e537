#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace simulator {

/// Plays steps at their times, on a thread of its own. What a step throws ends the process.
class timeline {
public:
    using clock = std::chrono::steady_clock;

    /// When the next step is due; nothing when there is none.
    using next_time = std::optional<clock::time_point>;

    /// Calls `step` at `first`, and again at each time that it returns. `step` is destroyed on the
    /// timeline's thread when all is done.
    timeline(clock::time_point first, std::function<next_time()> step);

    /// Plays a plan. All times count from one start, so that a step that takes long delays the
    /// steps after it no more than it must. `times` are seconds since `start`, in ascending order,
    /// and pass `speed` times as fast. `play` is called with the position of each in turn, and
    /// destroyed on the timeline's thread when all is done.
    timeline(clock::time_point start, std::vector<double> times, double speed,
             std::function<void(std::size_t)> play);
    /// Waits until the thread is done with the plan. Not to be called from a step.
    ~timeline();

    /// No further step is started. One that is running may still be when this returns.
    void cancel();

    /// The time `seconds` after `start`, at most about three years.
    static clock::time_point after(clock::time_point start, double seconds);

private:
    bool wait_until(clock::time_point time);

    std::mutex mutex_;
    std::condition_variable changed_;
    bool cancelled_ = false;
    bool joining_ = false;
    /// Waits to be joined when the plan is done: a thread must not end while the process exits,
    /// because Wine can crash then.
    std::thread thread_;
};

} // namespace simulator
