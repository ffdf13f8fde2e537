#pragma once

/// The order of bundles, and which ones are for a device. Nothing here reads a file.

#include "station/bundle.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vandrel::station {

using bundle_list = std::vector<std::shared_ptr<const bundle>>;

/// Orders builds such as "19A346", "19H12" and "21B5056e" by their age: by the first number, the
/// letters, the second number and the letters behind it. A beta, which has a second number of 5000
/// or more and a letter behind it, is older than each release with the same number and letters. A
/// text that is no build is older than each build.
bool is_older_build(std::string_view left, std::string_view right);

/// Those with the same build come in the order of their paths.
void sort_newest_first(bundle_list& bundles);

/// Those that are for the device, in their order. With a behaviour, only those that are for that,
/// too.
bundle_list bundles_for(const device_properties& device, const bundle_list& bundles,
                        std::optional<restore_behavior> behavior = {});

/// The only model that all bundles for the device have in common, those that name no model aside;
/// empty if there is none, or more than one.
std::string model_of(const device_properties& device, const bundle_list& bundles);

/// The bytes of scratch that one restore needs: the bundle unpacked, and a tenth more.
std::uint64_t room_for(const bundle& bundle);

} // namespace vandrel::station
