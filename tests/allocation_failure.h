#pragma once

#include <cstddef>

namespace vandrel::testing {

/// While one lives, the n-th allocation from now on its thread fails: `new` throws std::bad_alloc.
/// One at a time. For test programs that have allocation_limit.cpp among their sources.
class allocation_failure {
public:
    enum class extent { once, from_then_on };

    /// 1 is the next allocation.
    allocation_failure(std::size_t n, extent how_long);
    ~allocation_failure();
    allocation_failure(const allocation_failure&) = delete;
    allocation_failure& operator=(const allocation_failure&) = delete;

    /// Whether there were n allocations.
    static bool has_come();
};

} // namespace vandrel::testing
