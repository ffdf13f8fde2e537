#include "platform/native_clock.h"

#include <ctime>

namespace vandrel {

namespace {
constexpr std::int64_t nanoseconds_a_second = 1'000'000'000;
}

std::int64_t performance_counter() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * nanoseconds_a_second + now.tv_nsec;
}

std::int64_t performance_frequency() {
    return nanoseconds_a_second;
}

} // namespace vandrel
