#pragma once

/// Which devices a run is about, and whether it may touch them.

#include "station/bench_options.h"
#include "station/device.h"

#include <optional>
#include <string>
#include <vector>

namespace vandrel::station {

/// The ECID that an entry of `only` is: 16 hexadecimal digits, with or without "0x" before them.
/// Any other text is a serial number, even if it has only digits: it must select no device by
/// mistake.
std::optional<std::string> ecid_of_entry(const std::string& entry);

/// Whether an entry of `only` means the device: it is its ECID or its serial number.
bool names(const std::string& entry, const std::string& ecid,
           const std::optional<device_properties>& properties);

/// Whether the device was asked for by its ECID or serial number.
bool is_named(const bench_options& options, const std::string& ecid,
              const std::optional<device_properties>& properties);

/// The run's bundles that are for the device, the newest first.
bundle_list fitting_bundles(const bench_options& options,
                            const std::optional<device_properties>& properties);

/// Whether a bundle is for the device, no bundle is known, or the user has said that this does not
/// matter.
bool is_fit(const bench_options& options, const std::string& ecid,
            const std::optional<device_properties>& properties);

/// The list with its ECIDs normalized, in their order; nothing when one is not an ECID or stands in
/// it twice, and then `why` says which of the two.
std::optional<std::vector<listed_device>> checked_list(std::vector<listed_device> devices,
                                                       list_failure& why);

/// Whether somebody has to be asked before any device is touched.
bool needs_consent(const bench_options& options);

/// Whether the run erases without consent, and there is nobody to ask.
bool lacks_consent(const bench_options& options);

/// What has to be typed for so many devices.
std::string wanted_answer(const bench_options& options, std::size_t devices);

/// Whether this was typed. Blanks around it do not matter; the end of the file is no consent.
bool consents(const std::string& wanted, const std::optional<std::string>& line);

} // namespace vandrel::station
