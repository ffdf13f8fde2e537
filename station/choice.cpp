#include "station/choice.h"

#include <algorithm>
#include <set>

namespace vandrel::station {

std::optional<std::string> ecid_of_entry(const std::string& entry) {
    constexpr std::size_t digits = 16;
    const bool prefix = entry.starts_with("0x") || entry.starts_with("0X");
    if (entry.size() != (prefix ? digits + 2 : digits)) {
        return std::nullopt;
    }
    return normalized_ecid(entry);
}

bool names(const std::string& entry, const std::string& ecid,
           const std::optional<device_properties>& properties) {
    return ecid_of_entry(entry) == ecid ||
           (properties && !entry.empty() && entry == properties->serial_number);
}

bool is_named(const bench_options& options, const std::string& ecid,
              const std::optional<device_properties>& properties) {
    return options.ecids.contains(ecid) ||
           std::ranges::any_of(options.only, [&](const std::string& entry) {
               return names(entry, ecid, properties);
           });
}

bundle_list fitting_bundles(const bench_options& options,
                            const std::optional<device_properties>& properties) {
    if (!options.bundles || !properties) {
        return {};
    }
    std::optional<restore_behavior> behavior;
    if (options.from_folder) {
        behavior = options.erase ? restore_behavior::erase : restore_behavior::update;
    }
    return bundles_for(*properties, *options.bundles, behavior);
}

bool is_fit(const bench_options& options, const std::string& ecid,
            const std::optional<device_properties>& properties) {
    return !options.bundles || (options.any_bundle && options.ecids.contains(ecid)) ||
           !fitting_bundles(options, properties).empty();
}

std::optional<std::vector<listed_device>> checked_list(std::vector<listed_device> devices,
                                                       list_failure& why) {
    std::set<std::string> seen;
    for (listed_device& device : devices) {
        const std::optional<std::string> ecid = normalized_ecid(device.ecid);
        if (!ecid) {
            why = list_failure::broken;
            return std::nullopt;
        }
        if (!seen.insert(*ecid).second) {
            why = list_failure::duplicate_ecid;
            return std::nullopt;
        }
        device.ecid = *ecid;
    }
    std::ranges::sort(devices, {}, &listed_device::ecid);
    return devices;
}

bool needs_consent(const bench_options& options) {
    return !options.yes && options.terminal;
}

bool lacks_consent(const bench_options& options) {
    return options.erase && !options.yes && !options.terminal && !options.dry_run;
}

std::string wanted_answer(const bench_options& options, std::size_t devices) {
    if (!options.erase) {
        return "y";
    }
    return options.watch ? "ERASE" : std::to_string(devices);
}

bool consents(const std::string& wanted, const std::optional<std::string>& line) {
    constexpr const char* blanks = " \t\r\n";
    if (!line) {
        return false;
    }
    const std::size_t begin = line->find_first_not_of(blanks);
    if (begin == std::string::npos) {
        return false;
    }
    const std::size_t end = line->find_last_not_of(blanks) + 1;
    return line->compare(begin, end - begin, wanted) == 0;
}

} // namespace vandrel::station
