#include "tests/allocation_limit.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t no_limit = std::numeric_limits<std::size_t>::max();
thread_local std::size_t largest = no_limit;

} // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return size <= largest ? std::malloc(size == 0 ? 1 : size) : nullptr;
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

} // namespace vandrel::testing
