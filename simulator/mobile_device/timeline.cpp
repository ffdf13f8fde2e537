#include "simulator/mobile_device/timeline.h"

#include <algorithm>
#include <utility>

namespace simulator {

namespace {

/// About three years, and far below the range of the clock.
constexpr double longest_wait_in_seconds = 1e8;

/// Plays a plan: the first call only returns the time of the first step. Each later call plays the
/// next step, and returns the time of the one after it.
class plan_step {
public:
    plan_step(timeline::clock::time_point start, std::vector<double> times, double speed,
              std::function<void(std::size_t)> play)
        : start_(start), times_(std::move(times)), speed_(speed), play_(std::move(play)) {}

    timeline::next_time operator()() {
        if (begun_) {
            play_(next_);
            ++next_;
        }
        begun_ = true;
        if (next_ == times_.size()) {
            return std::nullopt;
        }
        return timeline::after(start_, times_[next_] / speed_);
    }

private:
    timeline::clock::time_point start_;
    std::vector<double> times_;
    double speed_;
    std::function<void(std::size_t)> play_;
    bool begun_ = false;
    std::size_t next_ = 0;
};

} // namespace

timeline::clock::time_point timeline::after(clock::time_point start, double seconds) {
    return start + std::chrono::duration_cast<clock::duration>(
                       std::chrono::duration<double>(std::min(seconds, longest_wait_in_seconds)));
}

timeline::timeline(clock::time_point first, std::function<next_time()> step)
    : thread_([this, first, step = std::move(step)]() mutable {
          next_time next = first;
          while (next && wait_until(*next)) {
              next = step();
          }
          step = nullptr;
          std::unique_lock lock(mutex_);
          changed_.wait(lock, [this] { return joining_; });
      }) {}

timeline::timeline(clock::time_point start, std::vector<double> times, double speed,
                   std::function<void(std::size_t)> play)
    : timeline(start, plan_step(start, std::move(times), speed, std::move(play))) {}

timeline::~timeline() {
    {
        const std::lock_guard lock(mutex_);
        cancelled_ = true;
        joining_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void timeline::cancel() {
    const std::lock_guard lock(mutex_);
    cancelled_ = true;
    changed_.notify_all();
}

/// False when the timeline was cancelled.
bool timeline::wait_until(clock::time_point time) {
    std::unique_lock lock(mutex_);
    return !changed_.wait_until(lock, time, [this] { return cancelled_; });
}

} // namespace simulator
