#include "simulator/mobile_device/scenario_file.h"

#include "simulator/mobile_device/cf_values.h"
#include "simulator/mobile_device/plist_reader.h"
#include "simulator/mobile_device/regular_file.h"
#include "simulator/mobile_device/utf8_path.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <limits>
#include <system_error>
#include <unordered_map>
#include <utility>

namespace simulator {

namespace {

using positions = std::unordered_map<std::string, std::size_t>;

std::uint32_t unsigned_32(const plist_reader& reader, const std::string& key) {
    return static_cast<std::uint32_t>(
        reader.optional_integer(key, 0, std::numeric_limits<std::uint32_t>::max()));
}

std::int32_t signed_32(const plist_reader& reader, const std::string& key) {
    using limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(reader.optional_integer(key, limits::min(), limits::max()));
}

restore_plan parse_restore(const std::string& place, CFTypeRef value) {
    const plist_reader reader(
        place, value,
        {"Result", "Reports", "ReportsInsideCall", "CallTakes", "Away", "ReturnsAfter"});
    restore_plan plan;
    plan.result = signed_32(reader, "Result");
    plan.call_takes = reader.optional_seconds("CallTakes");
    reader.each("Reports", [&plan](const std::string& element_place, CFTypeRef element) {
        const plist_reader report(element_place, element, {"After", "Report"});
        plan.reports.push_back({report.seconds("After"), cf_retained(report.find("Report"))});
    });
    reader.each("Away", [&plan](const std::string& element_place, CFTypeRef element) {
        const plist_reader period(element_place, element, {"From", "Until"});
        plan.away.push_back({period.seconds("From"), period.seconds("Until")});
    });
    if (reader.find("ReturnsAfter") != nullptr) {
        plan.returns_after = reader.seconds("ReturnsAfter");
    }
    plan.reports_inside_call = static_cast<std::size_t>(reader.optional_integer(
        "ReportsInsideCall", 0, static_cast<std::int64_t>(plan.reports.size())));
    return plan;
}

device_description parse_device(const std::string& place, CFTypeRef value) {
    const plist_reader reader(place, value,
                              {"Name", "ECID", "State", "ProductID", "BoardID", "ChipID",
                               "ProductType", "FusingInfo", "LocationID", "SerialNumber",
                               "ProductString", "HasRecoveryDevice", "SetAutoBootResult",
                               "RebootResult", "Restore", "LaterRestores"});
    device_description device;
    device.name = reader.text("Name");
    device.ecid = reader.hexadecimal("ECID");
    device.state = reader.word_or_number(
        "State", {{"Unknown", 0}, {"DFU", 1}, {"Recovery", 2}, {"RestoreOS", 3}, {"BootedOS", 4}});
    device.product_id = static_cast<std::uint16_t>(
        reader.optional_integer("ProductID", 0, std::numeric_limits<std::uint16_t>::max()));
    device.board_id = unsigned_32(reader, "BoardID");
    device.chip_id = unsigned_32(reader, "ChipID");
    device.product_type = unsigned_32(reader, "ProductType");
    device.fusing_info = unsigned_32(reader, "FusingInfo");
    device.location_id = unsigned_32(reader, "LocationID");
    device.serial_number = reader.optional_text("SerialNumber");
    device.product_string = reader.optional_text("ProductString");
    device.has_recovery_device = reader.optional_truth("HasRecoveryDevice", true);
    device.set_auto_boot_result = signed_32(reader, "SetAutoBootResult");
    device.reboot_result = signed_32(reader, "RebootResult");
    if (const CFTypeRef restore = reader.find("Restore")) {
        device.restore = parse_restore(reader.place_of("Restore"), restore);
    }
    reader.each("LaterRestores", [&device](const std::string& later_place, CFTypeRef later) {
        device.later_restores.push_back(parse_restore(later_place, later));
    });
    return device;
}

device_event parse_event(const std::string& place, CFTypeRef value, const positions& devices) {
    constexpr std::int64_t most_threads = 64;
    const plist_reader reader(
        place, value, {"At", "Device", "Type", "During", "AwaitFile", "NewHandle", "Threads"});
    device_event event;
    event.during = reader.optional_word(
        "During", {"AMRestorableDeviceRegisterForNotifications",
                   "AMRestorableDeviceUnregisterForNotifications", "AMRestorableDeviceRestore",
                   "AMRecoveryModeDeviceSetAutoBoot", "AMRecoveryModeDeviceReboot"});
    if (!event.during) {
        event.at = reader.seconds("At");
    } else if (const CFTypeRef time = reader.find("At")) {
        throw_scenario_error(reader.place_of("At"), shown(time),
                             "absent from an event with During");
    }
    event.awaited_file = reader.optional_text("AwaitFile");
    event.under_new_handle = reader.optional_truth("NewHandle", false);
    event.threads = static_cast<std::size_t>(
        std::max<std::int64_t>(reader.optional_integer("Threads", 1, most_threads), 1));
    event.type = reader.word_or_number("Type", {{"connected", 0}, {"disconnected", 1}});
    if (const auto name = reader.optional_text("Device")) {
        const auto found = devices.find(*name);
        if (found == devices.end()) {
            throw_scenario_error(reader.place_of("Device"), shown(reader.find("Device")),
                                 "the Name of one of the Devices");
        }
        event.device = found->second;
    }
    return event;
}

registration_failure parse_registration_error(const std::string& place, CFTypeRef value) {
    const plist_reader reader(place, value, {"Domain", "Code", "Description", "FailureReason"});
    return {reader.text("Domain"), reader.integer("Code"), reader.optional_text("Description"),
            reader.optional_text("FailureReason")};
}

cf_handle<CFDictionaryRef> parse_default_options(const std::string& place, CFTypeRef value) {
    const auto options = cf_cast<CFDictionaryRef>(value, CFDictionaryGetTypeID());
    if (options == nullptr && value != kCFBooleanFalse) {
        throw_scenario_error(place, shown(value), "a dictionary or false");
    }
    return cf_retained(options);
}

[[noreturn]] void throw_unreadable_file(const std::string& reason) {
    throw_scenario_error("file", "unreadable (" + reason + ")", "a file that can be read");
}

std::vector<std::uint8_t> read_whole(std::FILE* file) {
    // A file that grows while it is read, or that has a hole of any size, ends here.
    constexpr std::size_t largest = 64U << 20U;
    std::vector<std::uint8_t> bytes;
    std::vector<std::uint8_t> block(65536);
    while (const std::size_t count = std::fread(block.data(), 1, block.size(), file)) {
        bytes.insert(bytes.end(), block.begin(),
                     block.begin() + static_cast<std::ptrdiff_t>(count));
        if (bytes.size() > largest) {
            throw_scenario_error("file", "larger than 64 MiB", "a file of at most 64 MiB");
        }
    }
    if (std::ferror(file) != 0) {
        throw_unreadable_file(std::generic_category().message(errno));
    }
    return bytes;
}

std::vector<std::uint8_t> read_whole_file(const std::string& path) {
    try {
        return read_whole(open_regular_file(utf8_path(path), file_use::read).get());
    } catch (const unusable_file& reason) {
        throw_unreadable_file(reason.what());
    }
}

std::string reason_of(CFErrorRef error) {
    for (const auto copy : {CFErrorCopyFailureReason, CFErrorCopyDescription}) {
        const cf_handle<CFStringRef> text(error == nullptr ? nullptr : copy(error));
        if (text) {
            return " (" + one_line(cf_text(text.get())) + ")";
        }
    }
    return {};
}

cf_handle<CFTypeRef> read_property_list(const std::vector<std::uint8_t>& bytes) {
    const cf_handle<CFDataRef> data(
        CFDataCreate(kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(bytes.size())));
    CFErrorRef error_out = nullptr;
    cf_handle<CFTypeRef> plist(CFPropertyListCreateWithData(
        kCFAllocatorDefault, data.get(), kCFPropertyListImmutable, nullptr, &error_out));
    const cf_handle<CFErrorRef> error(error_out);
    if (!plist) {
        throw_scenario_error("file", "not a property list" + reason_of(error.get()),
                             "an XML or binary property list");
    }
    return plist;
}

} // namespace

scenario parse_scenario(CFTypeRef plist) {
    const plist_reader reader("", plist,
                              {"Devices", "Events", "RegistrationError", "SubscriptionResult",
                               "UnregistrationWaits", "UnregistrationTakes",
                               "EnableFileLoggingResult", "DefaultRestoreOptions"});
    scenario result;
    positions devices;
    reader.each("Devices", [&](const std::string& place, CFTypeRef element) {
        result.devices.push_back(parse_device(place, element));
        if (!devices.emplace(result.devices.back().name, devices.size()).second) {
            throw_scenario_error(place + ".Name", quoted(result.devices.back().name) + " once more",
                                 "a name that no other device has");
        }
    });
    if (reader.find("Events") != nullptr) {
        result.events.emplace();
        reader.each("Events", [&](const std::string& place, CFTypeRef element) {
            result.events->push_back(parse_event(place, element, devices));
        });
    }
    if (const CFTypeRef error = reader.find("RegistrationError")) {
        result.registration_error =
            parse_registration_error(reader.place_of("RegistrationError"), error);
    }
    result.subscription_result = signed_32(reader, "SubscriptionResult");
    result.unregistration_waits = reader.optional_truth("UnregistrationWaits", false);
    result.unregistration_takes = reader.optional_seconds("UnregistrationTakes");
    result.enable_file_logging_result = signed_32(reader, "EnableFileLoggingResult");
    if (const CFTypeRef options = reader.find("DefaultRestoreOptions")) {
        result.default_restore_options =
            parse_default_options(reader.place_of("DefaultRestoreOptions"), options);
    }
    return result;
}

scenario read_scenario(const std::string& path) {
    try {
        return parse_scenario(read_property_list(read_whole_file(path)).get());
    } catch (const scenario_error& error) {
        throw scenario_error(path + ": " + error.what());
    }
}

} // namespace simulator
