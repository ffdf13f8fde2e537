#pragma once

/// Time that only moves forward, in nanoseconds, and deadlines on it.

#include <chrono>
#include <cstdint>

namespace vandrel {

/// `count` ticks, at `frequency` ticks a second, in nanoseconds. Intermediate results do not
/// overflow if `frequency` is at most 9,000,000,000.
std::int64_t ticks_to_nanoseconds(std::int64_t count, std::int64_t frequency);

/// The present time on this clock.
std::int64_t monotonic_now();

/// A moment on the monotonic clock at which a wait ends:
///
///     const deadline end(timeout);
///     while (!done()) {
///         const auto remaining = end.remaining();
///         if (remaining == std::chrono::nanoseconds::zero()) {
///             return false;
///         }
///         changed.wait_for(lock, remaining);
///     }
class deadline {
public:
    /// `timeout` nanoseconds after `now`: at `now` when it is zero or negative, at the largest
    /// value of the clock when the sum would pass that. `now` is not negative.
    explicit deadline(std::int64_t timeout, std::int64_t now = monotonic_now());

    /// How long to block next: the time from `now` to the deadline, at most an hour, because
    /// the standard library's clock arithmetic overflows with durations near the largest; zero once
    /// the deadline has come.
    std::chrono::nanoseconds remaining(std::int64_t now = monotonic_now()) const;

private:
    std::int64_t end_;
};

/// A duration in whole seconds, truncated, for messages.
std::int64_t whole_seconds(std::int64_t nanoseconds);

} // namespace vandrel
