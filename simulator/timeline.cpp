#include "simulator/timeline.h"

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
    : m_thread([this, start, times = std::move(times), speed, play = std::move(play)] {
          for (std::size_t i = 0; i < times.size(); ++i) {
              if (!wait_until(start + duration_of(times[i] / speed))) {
                  return;
              }
              play(i);
          }
      }) {}

timeline::~timeline() {
    cancel();
    m_thread.join();
}

void timeline::cancel() {
    const std::lock_guard lock(m_mutex);
    m_cancelled = true;
    m_cancellation.notify_all();
}

/// False when the timeline was cancelled.
bool timeline::wait_until(clock::time_point time) {
    std::unique_lock lock(m_mutex);
    return !m_cancellation.wait_until(lock, time, [this] { return m_cancelled; });
}

} // namespace simulator
