#include "device/device_table.h"

#include <cstdint>

namespace vandrel {

std::size_t ecid_hash::operator()(const Orv::ecid& ecid) const noexcept {
    constexpr std::uint64_t offset_basis = 0xcbf29ce484222325;
    constexpr std::uint64_t prime = 0x100000001b3;
    std::uint64_t hash = offset_basis;
    for (int byte = 0; byte < 8; ++byte) {
        hash = (hash ^ ((ecid.value() >> (8 * byte)) & 0xFF)) * prime;
    }
    return hash;
}

} // namespace vandrel
