#pragma once

#include <cstddef>

namespace vandrel::testing {

/// During its lifetime, `new` throws std::bad_alloc on this thread for blocks of more than `bytes`.
/// For test programs with the source allocation_limit.cpp.
class allocation_limit {
public:
    explicit allocation_limit(std::size_t bytes);
    ~allocation_limit();
    allocation_limit(const allocation_limit&) = delete;
    allocation_limit& operator=(const allocation_limit&) = delete;
};

} // namespace vandrel::testing
