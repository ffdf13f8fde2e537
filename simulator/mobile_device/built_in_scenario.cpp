#include "simulator/mobile_device/built_in_scenario.h"

#include "simulator/mobile_device/cf_values.h"

#include <utility>

namespace simulator {

namespace {

constexpr std::uint32_t unknown = 0;
constexpr std::uint32_t dfu = 1;
constexpr std::uint32_t recovery = 2;
constexpr std::uint32_t restore_os = 3;
constexpr std::uint32_t booted = 4;

constexpr std::uint32_t connected = 0;

struct step {
    double after;
    std::int32_t operation;
    std::int32_t progress;
};

/// The operations of a restore that starts in Recovery mode. Those of the host begin at 200.
constexpr step steps[] = {
    {0.05, 201, 0},   // Unzipping IPSW
    {0.15, 201, 60},  //
    {0.15, 201, 100}, //
    {0.10, 203, 0},   // Personalizing restore bundle
    {0.20, 203, 100}, //
    {0.10, 207, 0},   // Entering recovery mode
    {0.10, 5, 0},     // Sending ramdisk to device
    {0.15, 5, 100},   //
    {0.05, 6, 100},   // Sending device tree to device
    {0.10, 7, 0},     // Sending kernel cache to device
    {0.15, 7, 100},   //
    {0.05, 8, 0},     // Setting restore boot-args
    {0.05, 9, 0},     // Booting
    {0.20, 3, 0},     // Connecting to device
    {0.10, 4, 0},     // Connected to device
    {0.05, 28, 0},    // Waiting for NAND
    {0.05, 11, 0},    // Creating partition map
    {0.05, 11, 100},  //
    {0.05, 12, 0},    // Creating filesystem
    {0.10, 12, 100},  //
    {0.10, 13, 0},    // Restoring image
    {0.15, 13, 17},   //
    {0.15, 13, 34},   //
    {0.15, 13, 52},   //
    {0.15, 13, 71},   //
    {0.15, 13, 88},   //
    {0.15, 13, 100},  //
    {0.05, 14, 0},    // Verifying restore
    {0.10, 14, 50},   //
    {0.10, 14, 100},  //
    {0.05, 15, 100},  // Checking filesystems
    {0.05, 16, 100},  // Mounting filesystems
    {0.05, 17, 100},  // Fixing up /var
    {0.05, 36, 100},  // Requesting FUD data
    {0.05, 18, 0},    // Flashing firmware
    {0.10, 18, 100},  //
    {0.05, 19, 0},    // Updating baseband
    {0.10, 19, 100},  //
    {0.05, 29, 100},  // Unmounting filesystems
    {0.05, 21, 0},    // Rebooting device
};
constexpr step last_step = {0.15, 0, 100};

cf_handle<CFMutableDictionaryRef> make_report(const step& from, const char* status) {
    auto report = cf_dictionary();
    cf_set_text(report.get(), "Status", status);
    cf_set_integer(report.get(), "Operation", from.operation);
    cf_set_integer(report.get(), "Progress", from.progress);
    return report;
}

restore_plan successful_restore() {
    constexpr std::int32_t restoring_image = 13;
    restore_plan plan;
    for (const step& next : steps) {
        auto report = make_report(next, "Restoring");
        if (next.operation == restoring_image) {
            cf_set_text(report.get(), "Image", "System");
        }
        plan.reports.push_back({next.after, std::move(report)});
    }
    auto report = make_report(last_step, "Successful");
    cf_set_integer(report.get(), "Error", 0);
    plan.reports.push_back({last_step.after, std::move(report)});
    return plan;
}

device_description make_device(const char* name, std::uint64_t ecid, std::uint32_t state) {
    device_description device;
    device.name = name;
    device.ecid = ecid;
    device.state = state;
    device.board_id = 0x0E;
    device.chip_id = 0x8030;
    device.fusing_info = 3;
    device.restore = successful_restore();
    return device;
}

} // namespace

scenario built_in_scenario() {
    scenario result;
    const auto attach = [&result](device_description device, double at = 0) {
        result.events->push_back({at, result.devices.size(), connected});
        result.devices.push_back(std::move(device));
    };
    result.events.emplace();

    auto device = make_device("recovery", 0x0001A2B3C4D5E6F7, recovery);
    device.product_id = 0x1281;
    device.product_type = 41;
    device.location_id = 0x14100000;
    device.serial_number = "VNDRL0RECVRY";
    device.product_string = "Mobile Device (Recovery Mode)";
    attach(std::move(device));

    device = make_device("dfu", 0x000A11B22C33D44E, dfu);
    device.product_id = 0x1227;
    device.location_id = 0x14200000;
    device.has_recovery_device = false;
    device.product_string = "Mobile Device (DFU Mode)";
    attach(std::move(device));

    device = make_device("restore-os", 0x000C44D55E66F770, restore_os);
    device.product_id = 0x12AB;
    device.product_type = 41;
    device.location_id = 0x14300000;
    device.has_recovery_device = false;
    device.serial_number = "VNDRL0RSTROS";
    device.product_string = "Mobile Device (Restore Mode)";
    attach(std::move(device));

    device = make_device("unknown", 0x000E77F88A99B00C, unknown);
    device.has_recovery_device = false;
    attach(std::move(device));

    // ECIDs are unsigned: this one is the last in a list.
    device = make_device("top-bit", 0x8001A2B3C4D5E6F7, dfu);
    device.product_id = 0x1227;
    device.location_id = 0x14400000;
    device.has_recovery_device = false;
    attach(std::move(device));

    device = make_device("booted", 0x00055E66F77A88B9, booted);
    device.serial_number = "VNDRL0BOOTED";
    attach(std::move(device));

    // Does not report its ECID.
    attach(make_device("nameless", 0, dfu));

    // Later than the default detection timeout of the tool.
    device = make_device("late", 0x00012345678ABCDE, recovery);
    device.product_id = 0x1281;
    device.location_id = 0x14500000;
    device.serial_number = "VNDRL0LATE01";
    device.product_string = "Mobile Device (Recovery Mode)";
    attach(std::move(device), 4);

    return result;
}

cf_handle<CFDictionaryRef> scenario::plausible_restore_options() {
    auto options = cf_dictionary();
    cf_set_text(options.get(), "AuthInstallSigningServerURL", "http://localhost/");
    cf_set_text(options.get(), "BootImageType", "User");
    cf_set(options.get(), "CreateFilesystemPartitions", kCFBooleanTrue);
    cf_set(options.get(), "FlashNOR", kCFBooleanTrue);
    cf_set_text(options.get(), "KernelCacheType", "Release");
    cf_set_text(options.get(), "NORImageType", "production");
    cf_set_text(options.get(), "RestoreBootArgs", "rd=md0 nand-enable-reformat=1 -progress");
    cf_set(options.get(), "UpdateBaseband", kCFBooleanTrue);
    return options;
}

} // namespace simulator
