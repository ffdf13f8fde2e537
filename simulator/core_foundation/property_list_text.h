#pragma once

/// The texts of scalars in an XML property list.

#include "simulator/core_foundation/number.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace simulator {

/// Whether XML takes the character for white space.
constexpr bool is_xml_space(char character) {
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

/// `text` without white space at its ends.
std::string_view trim_xml_space(std::string_view text);

/// Decimal, or hexadecimal after "0x", with or without a sign: -2^63 to 2^64 - 1.
std::optional<__CFNumber::value_type> parse_integer(std::string_view text);

/// A decimal fraction with or without an exponent, or "nan", "inf", "infinity" in any case, with or
/// without a sign. None for what a double cannot hold.
std::optional<__CFNumber::value_type> parse_real(std::string_view text);

/// Base64 in groups of four, the last one padded, with white space anywhere.
std::optional<std::vector<std::uint8_t>> parse_base64(std::string_view text);

} // namespace simulator
