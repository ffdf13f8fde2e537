#include "simulator/core_foundation/property_list_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

namespace simulator {

namespace {

/// Removes leading white space, a sign, and a blank after the sign. Returns true for minus.
bool take_sign(std::string_view& text) {
    while (!text.empty() && is_xml_space(text.front())) {
        text.remove_prefix(1);
    }
    const bool is_negative = text.starts_with('-');
    if (is_negative || text.starts_with('+')) {
        text.remove_prefix(1);
        text.remove_prefix(text.starts_with(' ') ? 1 : 0);
    }
    return is_negative;
}

bool is_digit(char character) {
    return character >= '0' && character <= '9';
}

/// Whether a decimal fraction beyond the range of a double is too large, and not too small.
bool is_too_large(std::string_view text) {
    const std::size_t exponent_at = std::min(text.find_first_of("eE"), text.size());
    const std::string_view digits = text.substr(0, exponent_at);
    const auto point = static_cast<std::int64_t>(std::min(digits.find('.'), digits.size()));
    const auto first = static_cast<std::int64_t>(digits.find_first_not_of("0."));
    std::string_view exponent_text = text.substr(std::min(exponent_at + 1, text.size()));
    exponent_text.remove_prefix(exponent_text.starts_with('+') ? 1 : 0);
    std::int64_t exponent = 0;
    const auto result = std::from_chars(exponent_text.data(),
                                        exponent_text.data() + exponent_text.size(), exponent);
    if (result.ec == std::errc::result_out_of_range) {
        return !exponent_text.starts_with('-');
    }
    return exponent > first - point;
}

std::optional<double> parse_magnitude(std::string_view text) {
    // parse_real reads words. from_chars would accept more of them.
    if (text.empty() || !(is_digit(text.front()) || text.front() == '.')) {
        return std::nullopt;
    }
    double number = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    if (result.ptr != end) {
        return std::nullopt;
    }
    if (result.ec == std::errc::result_out_of_range) {
        return is_too_large(text) ? std::numeric_limits<double>::infinity() : 0;
    }
    return result.ec == std::errc() ? std::optional(number) : std::nullopt;
}

/// Whether `text` equals `word`, ignoring case. `word` is in lower case.
bool is_word(std::string_view text, std::string_view word) {
    return std::ranges::equal(text, word, [](char left, char right) {
        return (left >= 'A' && left <= 'Z' ? left + ('a' - 'A') : left) == right;
    });
}

/// The value of a base64 digit; -1 for every other character.
constexpr std::array<int, 256> base64_values = [] {
    std::array<int, 256> result{};
    result.fill(-1);
    int value = 0;
    for (const char digit :
         std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/")) {
        result[static_cast<unsigned char>(digit)] = value++;
    }
    return result;
}();

} // namespace

std::optional<__CFNumber::value_type> parse_integer(std::string_view text) {
    const bool is_negative = take_sign(text);
    const bool is_hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    text.remove_prefix(is_hexadecimal ? 2 : 0);
    std::uint64_t magnitude = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, magnitude, is_hexadecimal ? 16 : 10);
    if (result.ec != std::errc() || result.ptr != end) {
        return std::nullopt;
    }
    constexpr std::uint64_t largest_signed = std::numeric_limits<std::int64_t>::max();
    if (is_negative) {
        return magnitude <= largest_signed + 1
                   ? std::optional(static_cast<std::int64_t>(0 - magnitude))
                   : std::nullopt;
    }
    if (magnitude > largest_signed) {
        return magnitude;
    }
    return static_cast<std::int64_t>(magnitude);
}

std::optional<__CFNumber::value_type> parse_real(std::string_view text) {
    const std::string_view whole = text;
    const bool is_negative = take_sign(text);
    const auto magnitude = is_word(text, "inf") || is_word(text, "infinity")
                               ? std::numeric_limits<double>::infinity()
                               : parse_magnitude(text);
    if (magnitude) {
        return is_negative ? -*magnitude : *magnitude;
    }
    const bool is_unsigned = whole.find_first_of("+-") == std::string_view::npos;
    return is_unsigned && is_word(text, "nan")
               ? std::optional<__CFNumber::value_type>(std::numeric_limits<double>::quiet_NaN())
               : std::nullopt;
}

namespace {

/// Appends the first `count` of the three bytes in the low 24 bits of `bits`.
void append_group(std::vector<std::uint8_t>& result, std::uint32_t bits, int count) {
    for (int byte = 0; byte < count; ++byte) {
        result.push_back(static_cast<std::uint8_t>(bits >> (16 - 8 * byte)));
    }
}

} // namespace

std::optional<std::vector<std::uint8_t>> parse_base64(std::string_view text) {
    std::vector<std::uint8_t> result;
    result.reserve(text.size() / 4 * 3);
    std::uint32_t bits = 0;
    int digits = 0;
    int padding = 0;
    for (const char c : text) {
        if (is_xml_space(c)) {
            continue;
        }
        const bool is_padding = c == '=';
        const int value = is_padding ? 0 : base64_values[static_cast<unsigned char>(c)];
        // Padding ends the last group, of which it is at most half.
        const bool is_misplaced = is_padding ? digits < 2 : padding > 0;
        if (value < 0 || is_misplaced) {
            return std::nullopt;
        }
        padding += static_cast<int>(is_padding);
        bits = bits << 6 | static_cast<std::uint32_t>(value);
        if (++digits == 4) {
            append_group(result, bits, 3 - padding);
            bits = 0;
            digits = 0;
        }
    }
    return digits == 0 ? std::optional(std::move(result)) : std::nullopt;
}

} // namespace simulator
