#pragma once

/// What is attached to the simulated machine, and what happens to it.

#include "simulator/mobile_device/cf_values.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace simulator {

/// A report of a running restore.
struct restore_report {
    /// Seconds since the previous report, or since the call.
    double after = 0;
    /// The callback's argument; may be null.
    cf_handle<CFTypeRef> report;
};

/// Seconds since the call that restores: from `from` on, and before `until`.
struct away_period {
    double from = 0;
    double until = 0;
};

struct restore_plan {
    /// The call's return value. The reports do not depend on it.
    std::int32_t result = 0;
    std::vector<restore_report> reports;
    /// How many reports, from the first on, are sent before the call returns, on the caller's
    /// thread.
    std::size_t reports_inside_call = 0;
    /// How many seconds the call takes after these reports.
    double call_takes = 0;
    /// On a bench: when the device is away for the other processes.
    std::vector<away_period> away = {};
    /// On a bench: the seconds from the end of the restore to the device's return, in Recovery
    /// mode; none: it stays away.
    std::optional<double> returns_after = std::nullopt;
};

struct device_description {
    /// Different for each device of a scenario.
    std::string name;
    std::uint64_t ecid = 0;
    /// 0 unknown, 1 DFU, 2 Recovery, 3 restore operating system, 4 booted.
    std::uint32_t state = 0;
    std::uint16_t product_id = 0;
    std::uint32_t board_id = 0;
    std::uint32_t chip_id = 0;
    std::uint32_t product_type = 0;
    std::uint32_t fusing_info = 0;
    std::uint32_t location_id = 0;
    std::optional<std::string> serial_number;
    std::optional<std::string> product_string;
    bool has_recovery_device = true;
    std::int32_t set_auto_boot_result = 0;
    std::int32_t reboot_result = 0;
    restore_plan restore;
    /// The second restore of the device, the third and so on; the last one is used for all later
    /// ones.
    std::vector<restore_plan> later_restores = {};
};

/// On a bench, an event without `during` is not sent if it has no device. Otherwise, only `at`,
/// `awaited_file`, `device` and `type` count.
struct device_event {
    /// Seconds since the registration for notifications, or since the start of the bench.
    double at = 0;
    /// Position among the scenario's devices; none: the callback is given a null device.
    std::optional<std::size_t> device;
    /// 0 connected, 1 disconnected.
    std::uint32_t type = 0;
    /// The event is sent inside each call of this function, on the caller's thread, but not inside
    /// a registration that fails, or a restore without options or callback; none: it is sent at its
    /// time.
    std::optional<std::string> during = std::nullopt;
    /// This event, and those after it, are not sent before this file exists. In UTF-8; none: they
    /// do not wait. Ignored with `during`.
    std::optional<std::string> awaited_file = std::nullopt;
    /// Whether the callback gets a handle of the device that no other event has.
    bool under_new_handle = false;
    /// How many threads call the callback with the event at the same time; the thread that sends
    /// the event is one of them.
    std::size_t threads = 1;
};

/// The error that registering for notifications fails with.
struct registration_failure {
    std::string domain;
    std::int64_t code = 0;
    std::optional<std::string> description;
    std::optional<std::string> failure_reason;
};

struct scenario {
    std::vector<device_description> devices;
    /// In any order. None: every device connects at registration, in the order of `devices`.
    std::optional<std::vector<device_event>> events;
    std::optional<registration_failure> registration_error;
    /// The result of subscribing to booted devices. Unless it is 0, no subscription is stored.
    std::int32_t subscription_result = 0;
    /// Whether unregistering waits until the callback of an event without `during`, if one is
    /// running, has returned.
    bool unregistration_waits = false;
    /// How many seconds unregistering takes after that.
    double unregistration_takes = 0;
    std::int32_t enable_file_logging_result = 0;
    /// Null: the platform has no default options.
    cf_handle<CFDictionaryRef> default_restore_options = plausible_restore_options();

    /// A new dictionary, the default.
    static cf_handle<CFDictionaryRef> plausible_restore_options();
};

} // namespace simulator
