#include "foundation/monotonic_clock.h"

#include "platform/native_clock.h"

#include <algorithm>
#include <limits>

namespace vandrel {

namespace {

constexpr std::int64_t nanoseconds_a_second = 1'000'000'000;

std::int64_t split_at_seconds(std::int64_t count, std::int64_t frequency) {
    return count / frequency * nanoseconds_a_second +
           count % frequency * nanoseconds_a_second / frequency;
}

} // namespace

std::int64_t ticks_to_nanoseconds(std::int64_t count, std::int64_t frequency) {
    // The two usual frequencies of Windows are constants here, so the compiler avoids divisions.
    switch (frequency) {
    case 10'000'000:
        return count * 100;
    case 24'000'000:
        return split_at_seconds(count, 24'000'000);
    default:
        return split_at_seconds(count, frequency);
    }
}

std::int64_t monotonic_now() {
    static const std::int64_t frequency = performance_frequency();
    return ticks_to_nanoseconds(performance_counter(), frequency);
}

deadline::deadline(std::int64_t timeout, std::int64_t now) : end_(now) {
    if (timeout > 0) {
        constexpr std::int64_t latest = std::numeric_limits<std::int64_t>::max();
        end_ = now > latest - timeout ? latest : now + timeout;
    }
}

std::chrono::nanoseconds deadline::remaining(std::int64_t now) const {
    constexpr std::int64_t longest = 3600 * nanoseconds_a_second;
    return std::chrono::nanoseconds(std::clamp<std::int64_t>(end_ - now, 0, longest));
}

std::int64_t whole_seconds(std::int64_t nanoseconds) {
    return nanoseconds / nanoseconds_a_second;
}

} // namespace vandrel
