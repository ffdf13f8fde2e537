#pragma once

/// The texts of scalars in an XML property list.

#include "simulator/core_foundation/number.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace simulator {

/// Whether the character is white space in XML.
constexpr bool is_xml_space(char character) {
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

/// Decimal, or hexadecimal after "0x" or "0X", with or without a sign, which a blank may follow:
/// -2^63 to 2^64 - 1. White space may precede it. None for other texts.
std::optional<__CFNumber::value_type> parse_integer(std::string_view text);

/// A decimal fraction with or without an exponent, or "inf" or "infinity", with or without a sign,
/// which a blank may follow; or "nan". Words may be in any case. What is too large for a double is
/// infinite, what is too small is zero. White space may precede it. None for other texts.
std::optional<__CFNumber::value_type> parse_real(std::string_view text);

/// Base64 in groups of four, the last one padded if need be, with white space anywhere. None for
/// other texts.
std::optional<std::vector<std::uint8_t>> parse_base64(std::string_view text);

} // namespace simulator
