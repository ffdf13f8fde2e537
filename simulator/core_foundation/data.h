#pragma once

/// Bytes.

#include "simulator/core_foundation/object.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

struct __CFData final : simulator::object {
    /// Keeps the bytes itself.
    explicit __CFData(std::vector<std::uint8_t> own_bytes);
    /// Refers to the caller's bytes, and frees them in the destructor if `frees_bytes`.
    __CFData(std::span<const std::uint8_t> callers_bytes, bool frees_bytes);
    ~__CFData() override;
    static const simulator::runtime_type& static_type();

    bool equals(const object& other) const override;
    CFHashCode hash() const override;
    std::string describe() const override;

    const std::vector<std::uint8_t> storage;
    const std::span<const std::uint8_t> bytes;
    const bool frees_callers_bytes = false;
};
