#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Orv {

/// Two upper-case hexadecimal digits for each byte, in the order of the bytes.
std::string base16_encode(std::span<const std::uint8_t> bytes);

/// The bytes of pairs of hexadecimal digits of either case. Precondition: `digits` has only such
/// pairs.
std::vector<std::uint8_t> base16_decode(std::string_view digits);

} // namespace Orv
