#include "driver/ecid.h"

#include "foundation/base16.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <stdexcept>

namespace Orv {

namespace {

constexpr std::size_t byte_count = 8;

std::string encode(std::uint64_t value) {
    std::array<std::uint8_t, byte_count> bytes{};
    for (std::size_t i = 0; i < byte_count; ++i) {
        bytes.at(i) = static_cast<std::uint8_t>(value >> (8 * (byte_count - 1 - i)));
    }
    return base16_encode(bytes);
}

std::uint64_t parse(std::string_view text) {
    const auto is_digit = [](unsigned char c) { return std::isxdigit(c) != 0; };
    if (text.size() != 2 * byte_count || !std::ranges::all_of(text, is_digit)) {
        throw std::invalid_argument("Invalid ECID '" + std::string(text) + "'");
    }
    std::uint64_t value = 0;
    for (const std::uint8_t byte : base16_decode(text)) {
        value = value << 8 | byte;
    }
    return value;
}

} // namespace

ecid::ecid(std::uint64_t value) : value_(value), text_(encode(value)) {}

ecid::ecid(std::string_view text) : ecid(parse(text)) {}

} // namespace Orv
