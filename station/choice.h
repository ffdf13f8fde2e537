#pragma once

/// Which devices a run is about, and whether it may touch them.

#include "station/bench_options.h"
#include "station/device.h"

#include <optional>
#include <string>
#include <vector>

namespace vandrel::station {

/// The ECID that an entry of `only` is: one of 16 digits. A shorter text is a serial number, even
/// if it has only digits, so that it never selects a device by mistake.
std::optional<std::string> ecid_of_entry(const std::string& entry);

/// Whether an entry of `only` means the device: it is its ECID or its serial number.
bool names(const std::string& entry, const std::string& ecid,
           const std::optional<device_properties>& properties);

/// Whether the device was asked for by its ECID or serial number.
bool is_named(const bench_options& options, const std::string& ecid,
              const std::optional<device_properties>& properties);

/// Those that the run has for the device, the newest first.
bundle_list fitting_bundles(const bench_options& options,
                            const std::optional<device_properties>& properties);

/// Whether a bundle is for the device, or the user has said that this does not matter.
bool is_fit(const bench_options& options, const std::string& ecid,
            const std::optional<device_properties>& properties);

/// The ECIDs of a list normalized; nothing when one is not an ECID or stands in it twice, and then
/// `why` says which of both.
std::optional<std::vector<listed_device>> checked_list(std::vector<listed_device> devices,
                                                       list_failure& why);

/// Whether somebody has to be asked before any device is touched.
bool needs_consent(const bench_options& options);

/// Whether there is nobody to ask, and an erase therefore not to be begun.
bool lacks_consent(const bench_options& options);

/// What has to be typed for so many devices.
std::string wanted_answer(const bench_options& options, std::size_t devices);

/// Whether this was typed. Blanks around it do not matter; the end of the file is no consent.
bool consents(const std::string& wanted, const std::optional<std::string>& line);

} // namespace vandrel::station
