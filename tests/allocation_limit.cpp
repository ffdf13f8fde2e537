#include "tests/allocation_limit.h"

#include "tests/allocation_failure.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t no_limit = std::numeric_limits<std::size_t>::max();
thread_local std::size_t largest = no_limit;
/// 0: no allocation is to fail.
thread_local std::size_t until_failure = 0;
thread_local bool fails_from_then_on = false;
thread_local bool failure_occurred = false;

bool is_to_fail() {
    if (until_failure == 0 || --until_failure > 0) {
        return false;
    }
    until_failure = fails_from_then_on ? 1 : 0;
    failure_occurred = true;
    return true;
}

} // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return size <= largest && !is_to_fail() ? std::malloc(size == 0 ? 1 : size) : nullptr;
}

void* operator new(std::size_t size) {
    void* const memory = operator new(size, std::nothrow);
    return memory != nullptr ? memory : throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace vandrel::testing {

allocation_limit::allocation_limit(std::size_t bytes) {
    largest = bytes;
}

allocation_limit::~allocation_limit() {
    largest = no_limit;
}

allocation_failure::allocation_failure(std::size_t n, extent how_long) {
    fails_from_then_on = how_long == extent::from_then_on;
    failure_occurred = false;
    until_failure = n;
}

allocation_failure::~allocation_failure() {
    until_failure = 0;
}

bool allocation_failure::has_failed() {
    return failure_occurred;
}

} // namespace vandrel::testing
