#pragma once

/// Devices.

#include "platform/mobile_device.h"
#include "simulator/core_foundation/object.h"
#include "simulator/mobile_device/scenario.h"

#include <cstdint>
#include <memory>
#include <string>

/// A handle of a device. Several handles of one device share its description.
struct _AMRestorableDevice final : simulator::object {
    explicit _AMRestorableDevice(const std::shared_ptr<const simulator::device_description>& about);
    /// With another state than the description.
    _AMRestorableDevice(std::shared_ptr<const simulator::device_description> about,
                        std::uint32_t present_state);
    static const simulator::runtime_type& static_type();

    std::string describe() const override;

    const std::shared_ptr<const simulator::device_description> shared;
    const simulator::device_description& description;
    const std::uint32_t state;
};

/// Independent of the restorable device, which may be released first.
struct _AMRecoveryModeDevice final : simulator::object {
    explicit _AMRecoveryModeDevice(const simulator::device_description& description);
    static const simulator::runtime_type& static_type();

    std::string describe() const override;

    const std::string name;
    const std::int32_t set_auto_boot_result;
    const std::int32_t reboot_result;
};
