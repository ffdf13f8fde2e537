#include "simulator/core_foundation/property_list_text.h"

#include <array>
#include <charconv>
#include <limits>

namespace simulator {

namespace {

/// All of `text` as from_chars reads it in the given way (a base or a format); none when something
/// is left over, or when it does not fit.
template<class Number, class How>
std::optional<Number> parse_all(std::string_view text, How how) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number, how);
    const bool is_read = result.ec == std::errc() && result.ptr == end;
    return is_read ? std::optional(number) : std::nullopt;
}

/// Takes a sign off the front; true for minus.
bool take_sign(std::string_view& text) {
    const bool is_negative = text.starts_with('-');
    if (is_negative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    return is_negative;
}

/// The bits that a digit of base64 stands for; -1 for every other character.
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

std::string_view trim_xml_space(std::string_view text) {
    while (!text.empty() && is_xml_space(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && is_xml_space(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

std::optional<__CFNumber::value_type> parse_integer(std::string_view text) {
    const bool is_negative = take_sign(text);
    const bool is_hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    text.remove_prefix(is_hexadecimal ? 2 : 0);
    const auto magnitude = parse_all<std::uint64_t>(text, is_hexadecimal ? 16 : 10);
    if (!magnitude) {
        return std::nullopt;
    }
    constexpr std::uint64_t largest_signed = std::numeric_limits<std::int64_t>::max();
    if (is_negative) {
        return *magnitude <= largest_signed + 1
                   ? std::optional(static_cast<std::int64_t>(0 - *magnitude))
                   : std::nullopt;
    }
    if (*magnitude > largest_signed) {
        return *magnitude;
    }
    return static_cast<std::int64_t>(*magnitude);
}

std::optional<__CFNumber::value_type> parse_real(std::string_view text) {
    const bool is_negative = take_sign(text);
    if (text.starts_with('-')) {
        return std::nullopt;
    }
    const auto magnitude = parse_all<double>(text, std::chars_format::general);
    if (!magnitude) {
        return std::nullopt;
    }
    return is_negative ? -*magnitude : *magnitude;
}

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
        const int value = c == '=' ? 0 : base64_values[static_cast<unsigned char>(c)];
        padding += c == '=' ? 1 : 0;
        // Padding ends the last group, of which it is at most half.
        if (value < 0 || (c != '=' && padding > 0) || (c == '=' && digits < 2)) {
            return std::nullopt;
        }
        bits = bits << 6 | static_cast<std::uint32_t>(value);
        if (++digits == 4) {
            for (int byte = 0; byte < 3 - padding; ++byte) {
                result.push_back(static_cast<std::uint8_t>(bits >> (16 - 8 * byte)));
            }
            bits = 0;
            digits = 0;
        }
    }
    return digits == 0 ? std::optional(std::move(result)) : std::nullopt;
}

} // namespace simulator
