#pragma once

/// Numbers.

#include "simulator/core_foundation/object.h"

#include <cstdint>
#include <string>
#include <variant>

struct __CFNumber final : simulator::object {
    /// An integer is signed, unless it is above the largest signed number: property lists allow up
    /// to 2^64 - 1. So equal integers have the same alternative. A real can equal an integer.
    using value_type = std::variant<std::int64_t, std::uint64_t, double>;

    explicit __CFNumber(value_type number) : object(static_type()), value(number) {}
    static const simulator::runtime_type& static_type();

    bool equals(const object& other) const override;
    CFHashCode hash() const override;
    std::string describe() const override;

    const value_type value;
};

namespace simulator {

/// The decimal text of a number. A real has at most 17 significant digits, which give the same
/// number when read back; zero as a real, with either sign, is "0.0"; what is not finite is "nan",
/// "+infinity" or "-infinity".
std::string number_text(const __CFNumber::value_type& value);

} // namespace simulator
