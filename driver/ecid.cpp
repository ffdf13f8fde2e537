#include "driver/ecid.h"

#include "foundation/base16.h"

#include <boost/endian/conversion.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <stdexcept>

namespace Orv {

namespace {

using ecid_bytes = std::array<std::uint8_t, sizeof(std::uint64_t)>;

std::string encode(std::uint64_t value) {
    ecid_bytes bytes{};
    boost::endian::store_big_u64(bytes.data(), value);
    return base16_encode(bytes);
}

std::uint64_t parse(std::string_view text) {
    const auto is_digit = [](unsigned char c) { return std::isxdigit(c) != 0; };
    if (text.size() != 2 * sizeof(ecid_bytes) || !std::ranges::all_of(text, is_digit)) {
        throw std::invalid_argument("Invalid ECID '" + std::string(text) + "'");
    }
    return boost::endian::load_big_u64(base16_decode(text).data());
}

} // namespace

ecid::ecid(std::uint64_t value) : value_(value), text_(encode(value)) {}

ecid::ecid(std::string_view text) : ecid(parse(text)) {}

} // namespace Orv
