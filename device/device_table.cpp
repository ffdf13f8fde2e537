#include "device/device_table.h"

#include <algorithm>
#include <cstdint>
#include <utility>

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

device_handle device_table::access::find(const Orv::ecid& ecid) const {
    const auto found = table_.devices.find(ecid);
    return found == table_.devices.end() ? nullptr : found->second;
}

void device_table::access::insert_or_assign(const Orv::ecid& ecid, device_handle device) {
    table_.devices.insert_or_assign(ecid, std::move(device));
}

std::vector<Orv::ecid> device_table::access::ecids() const {
    std::vector<Orv::ecid> result;
    for (const auto& [ecid, device] : table_.devices) {
        result.push_back(ecid);
    }
    std::ranges::sort(result);
    return result;
}

} // namespace vandrel
