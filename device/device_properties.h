#pragma once

#include "driver/ecid.h"
#include "foundation/cf_handle.h"
#include "platform/mobile_device.h"

#include <cstdint>
#include <optional>
#include <string>

namespace vandrel {

/// The properties of a device. Texts are UTF-8. A text is absent when the device does not report it
/// or it has no UTF-8 form.
struct device_properties {
    Orv::ecid ecid;
    /// The USB product number.
    std::uint16_t productId;
    std::uint32_t boardId;
    std::uint32_t chipId;
    std::uint32_t productType;
    std::uint32_t fusingInfo;
    /// The USB location ID.
    std::uint32_t locationId;
    std::optional<std::string> serialNumber;
    std::optional<std::string> productString;
    /// Never set by make_device_info; for callers that have a description.
    std::optional<std::string> description;
};

/// The properties that `device` reports, with `ecid` as the ECID. `device` is not null.
device_properties make_device_info(Orv::ecid ecid, _AMRestorableDevice* device);

/// The value of a "DeviceInfo" record. Numbers are signed, with 16 bits for the product and 32 for
/// the others, so large ones become negative. A value that is absent or cannot be made is left out.
/// Null when the dictionary itself cannot be made.
cf_handle<CFMutableDictionaryRef> device_info_dictionary(const device_properties& properties);

/// The text of an ECID. Null when it cannot be made.
cf_handle<CFStringRef> ecid_cfstring(const Orv::ecid& ecid);

} // namespace vandrel
