#include "simulator/timeline.h"

#include <algorithm>
#include <thread>
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
    : progress_(std::make_shared<progress>()) {
    std::thread([progress = progress_, start, times = std::move(times), speed,
                 play = std::move(play)]() mutable {
        for (std::size_t i = 0;
             i < times.size() && wait_until(*progress, start + duration_of(times[i] / speed));
             ++i) {
            play(i);
        }
        play = nullptr;
        const std::lock_guard lock(progress->mutex);
        progress->ended = true;
        progress->changed.notify_all();
    }).detach();
}

timeline::~timeline() {
    cancel();
    std::unique_lock lock(progress_->mutex);
    progress_->changed.wait(lock, [this] { return progress_->ended; });
}

void timeline::cancel() {
    const std::lock_guard lock(progress_->mutex);
    progress_->cancelled = true;
    progress_->changed.notify_all();
}

/// False when the timeline was cancelled.
bool timeline::wait_until(progress& progress, clock::time_point time) {
    std::unique_lock lock(progress.mutex);
    return !progress.changed.wait_until(lock, time, [&progress] { return progress.cancelled; });
}

} // namespace simulator
