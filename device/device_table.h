#pragma once

#include "driver/ecid.h"
#include "platform/mobile_device.h"

#include <cstddef>
#include <memory>
#include <unordered_map>

namespace vandrel {

/// A share in a restorable device, which lives as long as the last share. Made with CFTypeDeleter,
/// so all shares together hold one CoreFoundation reference.
using device_handle = std::shared_ptr<_AMRestorableDevice>;

/// 64-bit FNV-1a over the value's bytes, the least significant first.
struct ecid_hash {
    std::size_t operator()(const Orv::ecid& ecid) const noexcept;
};

struct ecid_equal {
    bool operator()(const Orv::ecid& left, const Orv::ecid& right) const noexcept {
        return left.value() == right.value();
    }
};

/// The attached devices.
using device_table = std::unordered_map<Orv::ecid, device_handle, ecid_hash, ecid_equal>;

} // namespace vandrel
