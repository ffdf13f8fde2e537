#include "foundation/base16.h"

#include <charconv>

namespace Orv {

std::string base16_encode(std::span<const std::uint8_t> bytes) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 0xF];
    }
    return text;
}

std::vector<std::uint8_t> base16_decode(std::string_view digits) {
    std::vector<std::uint8_t> bytes(digits.size() / 2);
    const char* pair = digits.data();
    for (std::uint8_t& byte : bytes) {
        std::from_chars(pair, pair + 2, byte, 16);
        pair += 2;
    }
    return bytes;
}

} // namespace Orv
