#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace simulator {

/// Plays the steps of a plan at their times, on a thread of its own. All times count from one
/// start, so that a step that takes long delays the steps after it no more than it must.
///
/// What a step throws ends the process.
class timeline {
public:
    using clock = std::chrono::steady_clock;

    /// `times` are seconds since `start`, in ascending order, and pass `speed` times as fast.
    /// `play` is called with the position of each in turn, and destroyed on the timeline's thread
    /// when all is done.
    timeline(clock::time_point start, std::vector<double> times, double speed,
             std::function<void(std::size_t)> play);
    /// Waits until the thread is done with the plan. Not to be called from a step.
    ~timeline();

    /// No further step is started. One that is running may still be when this returns.
    void cancel();

private:
    struct progress {
        std::mutex mutex;
        std::condition_variable changed;
        bool cancelled = false;
        bool ended = false;
    };

    static bool wait_until(progress& progress, clock::time_point time);

    /// Shared with the thread, which is detached: nobody is left to join it when the process ends
    /// in the middle of a plan.
    std::shared_ptr<progress> progress_;
};

} // namespace simulator
