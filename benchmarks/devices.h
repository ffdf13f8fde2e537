#pragma once

#include "device/RestorableDeviceHandler.h"
#include "foundation/cf_handle.h"
#include "simulator/mobile_device/simulation.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace vandrel::benchmarks {

using simulated_device = cf_handle<_AMRestorableDevice*>;

/// `count` devices in Recovery mode with consecutive ECIDs, starting with `first_ecid`.
inline std::vector<simulated_device> make_devices(std::uint64_t first_ecid, std::int64_t count) {
    std::vector<simulated_device> devices;
    for (std::int64_t i = 0; i < count; ++i) {
        simulator::device_description description;
        description.ecid = first_ecid + static_cast<std::uint64_t>(i);
        description.state = 2;
        devices.emplace_back(simulator::create_device(std::move(description)));
    }
    return devices;
}

inline void notify(device_notifier_state& session, const simulated_device& device,
                   notification_type type) {
    device_notifier_state::deviceNotificationCallback(device.get(), type, &session);
}

} // namespace vandrel::benchmarks
