#pragma once

#include <cstdint>

namespace vandrel {

/// The system's monotonic counter, in ticks.
std::int64_t performance_counter();

/// Frequency, in ticks per second, of performance_counter; the same for the whole life of the
/// process.
std::int64_t performance_frequency();

} // namespace vandrel
