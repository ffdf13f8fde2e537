#pragma once

/// The states of a device and the kinds of notification, as MobileDevice numbers them.

#include <cstdint>

namespace vandrel {

/// What AMRestorableDeviceGetState returns.
enum class device_state : std::uint32_t {
    Unknown = 0,
    DFU = 1,
    Recovery = 2,
    RestoreOS = 3,
    BootedOS = 4,
};

/// What happened to the device of a notification.
enum class notification_type : std::uint32_t {
    connected = 0,
    disconnected = 1,
};

} // namespace vandrel
