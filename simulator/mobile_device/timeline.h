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

    /// Calls `step` at `first`, and again at each time that it returns, until it returns none.
    /// `step` is destroyed on the timeline's thread after its last call.
    timeline(clock::time_point first, std::function<next_time()> step);

    /// Plays a plan. `times` are seconds since `start`, in ascending order, and pass `speed` times
    /// as fast. All count from `start`, so a long step delays later steps no more than it must.
    /// `play` is called with the position of each time in turn, and destroyed on the timeline's
    /// thread after its last call.
    timeline(clock::time_point start, std::vector<double> times, double speed,
             std::function<void(std::size_t)> play);
    /// Cancels the timeline, and waits for the step that is running. Not to be called from a step.
    ~timeline();

    /// No further step is started, but for one that is due now. That one, or a running step, may
    /// still run when this returns.
    void cancel();

    /// The time `seconds` after `start`, but at most about three years after it.
    static clock::time_point after(clock::time_point start, double seconds);

private:
    bool wait_until(clock::time_point time);

    std::mutex mutex_;
    std::condition_variable changed_;
    bool cancelled_ = false;
    bool joining_ = false;
    /// When its steps are done, the thread waits to be joined: if a thread ends while the process
    /// exits, Wine can crash.
    std::thread thread_;
};

} // namespace simulator
