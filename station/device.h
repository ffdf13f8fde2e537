#pragma once

/// What the station knows of a device before it works on it, and which devices a bundle is for.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vandrel::station {

struct bundle;

/// 1 to 16 hexadecimal digits of either case, with or without "0x" before them, as 16 upper-case
/// digits; nothing for any other text.
std::optional<std::string> normalized_ecid(std::string_view text);

/// What `vandrel --device-info` reports of one device. Texts are untrusted: whoever shows them
/// replaces control characters first.
struct device_properties {
    /// Unsigned: the low 32 bits of what the record has. 0 is a device that does not report it.
    std::uint32_t chip_id = 0;
    std::uint32_t board_id = 0;
    std::uint32_t location_id = 0;
    std::string serial_number;
    std::string product_string;
    /// The name of the USB port in the slot file; empty without one.
    std::string slot;
    /// The product type in the bundles, such as "iPhone14,2"; empty when they do not have exactly
    /// one for it.
    std::string model;

    bool operator==(const device_properties&) const = default;
};

/// One device in a list.
struct listed_device {
    /// As the record has it. checked_list normalizes it, and refuses a list in which one is no
    /// ECID.
    std::string ecid;
    /// Absent when they were not asked for, or could not be had.
    std::optional<device_properties> properties;
    /// In a question of a run with a folder of bundles, and in what the command "list" shows: those
    /// that fit, newest first.
    std::vector<std::shared_ptr<const bundle>> bundles = {};

    bool operator==(const listed_device&) const = default;
};

/// What a restore does to the data of a device.
enum class restore_behavior { erase, update };

/// For which devices one build identity of a bundle is.
struct build_identity {
    std::uint32_t chip_id = 0;
    std::uint32_t board_id = 0;
    /// Absent when the identity does not say: it is for both then.
    std::optional<restore_behavior> behavior = {};

    bool operator==(const build_identity&) const = default;
};

/// Whether any of `identities` has the chip and the board of the device. A device that reports no
/// chip fits nothing. With a behaviour, the identity also has to be for that.
bool fits(const device_properties& device, const std::vector<build_identity>& identities,
          std::optional<restore_behavior> behavior = {});

} // namespace vandrel::station
