#include "simulator/mobile_device/timeline.h"

#include <algorithm>
#include <utility>

namespace simulator {

namespace {

/// As long as anybody can wait, and far from where the clock's arithmetic overflows.
constexpr double longest_wait_in_seconds = 1e8;

std::chrono::nanoseconds duration_of(double seconds) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::duration<double>(std::min(seconds, longest_wait_in_seconds)));
}

} // namespace

timeline::timeline(clock::time_point start, std::vector<double> times, double speed,
                   std::function<void(std::size_t)> play)
    : thread_([this, start, times = std::move(times), speed, play = std::move(play)]() mutable {
          for (std::size_t i = 0;
               i < times.size() && wait_until(start + duration_of(times[i] / speed)); ++i) {
              play(i);
          }
          play = nullptr;
          std::unique_lock lock(mutex_);
          changed_.wait(lock, [this] { return joining_; });
      }) {}

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
