#pragma once

#include <cstddef>

namespace vandrel::testing {

/// During its lifetime, the n-th allocation of the thread that constructed it fails: `new` throws
/// std::bad_alloc, and `new (std::nothrow)` returns null. With extent::from_then_on, all later
/// allocations of the thread fail too. Only one may exist at a time in a thread. For test programs
/// with the source allocation_limit.cpp.
class allocation_failure {
public:
    enum class extent { once, from_then_on };

    /// `n`: 1 is the next allocation.
    allocation_failure(std::size_t n, extent how_long);
    ~allocation_failure();
    allocation_failure(const allocation_failure&) = delete;
    allocation_failure& operator=(const allocation_failure&) = delete;

    /// Whether the n-th allocation was tried, and so failed.
    static bool has_failed();
};

} // namespace vandrel::testing
