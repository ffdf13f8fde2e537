#pragma once

/// Devices.

#include "platform/mobile_device.h"
#include "simulator/core_foundation/object.h"
#include "simulator/mobile_device/scenario.h"

#include <string>

struct _AMRestorableDevice final : simulator::object {
    explicit _AMRestorableDevice(simulator::device_description about);
    static const simulator::runtime_type& static_type();

    std::string describe() const override;

    const simulator::device_description description;
};

/// Knows all it needs: the restorable device may be gone.
struct _AMRecoveryModeDevice final : simulator::object {
    explicit _AMRecoveryModeDevice(const simulator::device_description& description);
    static const simulator::runtime_type& static_type();

    std::string describe() const override;

    const std::string name;
    const std::int32_t set_auto_boot_result;
    const std::int32_t reboot_result;
};
