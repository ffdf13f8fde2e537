#pragma once

/// Time that only moves forward, in nanoseconds, and deadlines on it.

#include <cstdint>

namespace vandrel {

/// A count of `frequency` ticks a second, in nanoseconds, without overflow on the way.
std::int64_t ticks_to_nanoseconds(std::int64_t count, std::int64_t frequency);

/// The present time.
std::int64_t monotonic_now();

/// `now` plus `timeout`: the largest value when the sum would pass it, `now` when `timeout` is zero
/// or negative.
std::int64_t deadline_after(std::int64_t now, std::int64_t timeout);

/// A duration in whole seconds, truncated, for messages.
std::int64_t whole_seconds(std::int64_t nanoseconds);

} // namespace vandrel
