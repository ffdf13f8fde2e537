#pragma once

#include "station/doctor.h"

#include <filesystem>
#include <optional>
#include <vector>

namespace vandrel::station {

/// As attached_apple_devices, of the devices in this folder, which usually is /sys/bus/usb/devices.
std::optional<std::vector<usb_device>> apple_devices_in(const std::filesystem::path& root);

} // namespace vandrel::station
