#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Orv {

/// Two upper-case hexadecimal digits for each byte, in the order of the bytes.
std::string base16_encode(std::span<const std::uint8_t> bytes);

/// The bytes that pairs of hexadecimal digits of either case stand for. `digits` holds nothing but
/// such pairs; the caller has seen to it.
std::vector<std::uint8_t> base16_decode(std::string_view digits);

} // namespace Orv
