#include "simulator/mobile_device/restorable_device.h"

#include "simulator/mobile_device/cf_values.h"
#include "simulator/mobile_device/running_simulation.h"

#include <utility>

using simulator::checked;
using simulator::device_description;

_AMRestorableDevice::_AMRestorableDevice(const std::shared_ptr<const device_description>& about)
    : _AMRestorableDevice(about, about->state) {}

_AMRestorableDevice::_AMRestorableDevice(std::shared_ptr<const device_description> about,
                                         std::uint32_t present_state)
    : object(static_type()), shared(std::move(about)), description(*shared), state(present_state) {}

const simulator::runtime_type& _AMRestorableDevice::static_type() {
    static const auto& type = *new simulator::runtime_type("AMRestorableDevice");
    return type;
}

std::string _AMRestorableDevice::describe() const {
    return "<AMRestorableDevice " + description.name + ">";
}

namespace {

/// Records the call of `function`, and returns the description of `device`.
const device_description& recorded(_AMRestorableDevice* device,
                                   const char* function = __builtin_FUNCTION()) {
    const device_description& description = checked(device, function).description;
    simulator::running().record(function, &description.name);
    return description;
}

CFStringRef string_or_null(const std::optional<std::string>& text) {
    return text ? simulator::cf_string(*text).release() : nullptr;
}

} // namespace

std::uint32_t AMRestorableDeviceGetState(_AMRestorableDevice* device) {
    recorded(device);
    return device->state;
}

std::uint64_t AMRestorableDeviceGetECID(_AMRestorableDevice* device) {
    return recorded(device).ecid;
}

std::uint16_t AMRestorableDeviceGetProductID(_AMRestorableDevice* device) {
    return recorded(device).product_id;
}

std::uint32_t AMRestorableDeviceGetBoardID(_AMRestorableDevice* device) {
    return recorded(device).board_id;
}

std::uint32_t AMRestorableDeviceGetChipID(_AMRestorableDevice* device) {
    return recorded(device).chip_id;
}

std::uint32_t AMRestorableDeviceGetProductType(_AMRestorableDevice* device) {
    return recorded(device).product_type;
}

std::uint32_t AMRestorableDeviceGetFusingInfo(_AMRestorableDevice* device) {
    return recorded(device).fusing_info;
}

std::uint32_t AMRestorableDeviceGetLocationID(_AMRestorableDevice* device) {
    return recorded(device).location_id;
}

CFStringRef AMRestorableDeviceCopySerialNumber(_AMRestorableDevice* device) {
    return string_or_null(recorded(device).serial_number);
}

CFStringRef AMRestorableDeviceCopyProductString(_AMRestorableDevice* device) {
    return string_or_null(recorded(device).product_string);
}

_AMRecoveryModeDevice* AMRestorableDeviceCopyRecoveryModeDevice(_AMRestorableDevice* device) {
    const device_description& description = recorded(device);
    return description.has_recovery_device ? simulator::create<_AMRecoveryModeDevice>(description)
                                           : nullptr;
}
